#pragma once

namespace tovix {

/// [control] Makes the audio engine's locked memory the source of MemoryMgr: installs `AERT_Allocate` and
/// `AERT_Free` of the "audioeng.dll" in the system folder, and of no other, as the real-time allocator (see
/// MemoryMgr.h). Returns whether they are installed; without them MemoryMgr goes on using the heap.
///
/// The first call of the module's life does the work, so call it before any memory is taken; not from DllMain.
/// The library stays referenced until module exit.
bool installAudioEngineAllocator() noexcept;

} // namespace tovix
