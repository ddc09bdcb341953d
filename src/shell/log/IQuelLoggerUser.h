#pragma once

#include <cstdint>

namespace tovix {

/// [control] The contract with the logger library "Logger64.dll", which another compiler may have built: virtual
/// tables and plain exports only. Every slot is a plain virtual function, because a virtual destructor takes two
/// slots with this compiler and one with the platform's. Neither side deletes what the other one made.

/// What the effect hands to the library so that it can talk back. Any thread may call it.
class IQuelLoggerUser {
public:
    /// Slot 0, where the platform's compiler puts a deleting destructor: keeps the place. Must not be called; does
    /// nothing.
    virtual void* deletingDestructor(std::uint32_t flags) noexcept = 0;

    /// Slot 1: the library goes away. The user forgets the library's interface and its own reference to the
    /// module, without giving that reference back; returns 0.
    ///
    /// After the return no line is handed to the interface, and every line that was being written on another
    /// thread has come back from it, so that the library may free it. There are two exceptions, both in the
    /// library's hand: the calls below `Detach` on the caller's own stack, and a line that the library itself
    /// keeps for longer than `lineReturnLimitMs`; the wait for it ends there, so that they cannot deadlock.
    virtual std::int32_t Detach() noexcept = 0;

    static constexpr std::uint32_t lineReturnLimitMs = 5000;

protected:
    ~IQuelLoggerUser() = default;
};

/// What the library provides. The effect uses slots 1 and 3 only, from any thread, several at once; the others keep
/// the places.
class IQuelLogger {
public:
    /// Slot 0, not called.
    virtual void* deletingDestructor(std::uint32_t flags) = 0;
    /// Slot 1: takes one finished line, NUL-terminated and without a line end, valid during the call.
    virtual void writeLine(const char* line) = 0;
    /// Slot 2, not called.
    virtual void reserved() = 0;
    /// Slot 3: the level that the library wants, 0 (none) to 5 (debug).
    virtual std::int32_t level() = 0;

protected:
    ~IQuelLogger() = default;
};

/// Export "ProvideLogger" (application name, offered level, user): the library's interface, or null.
using ProvideLoggerFunction = IQuelLogger*(const wchar_t* applicationName, std::int32_t offeredLevel,
                                           IQuelLoggerUser* pUser);

/// Export "ReleaseLogger" (interface, user): the effect is done with the interface.
using ReleaseLoggerFunction = void(IQuelLogger* pLogger, IQuelLoggerUser* pUser);

} // namespace tovix
