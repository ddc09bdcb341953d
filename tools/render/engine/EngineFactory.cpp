#include "render/engine/CoreEngine.h"

#ifdef _WIN32
#include "render/engine/DllEngine.h"
#endif

namespace tovix::render {

std::unique_ptr<IEngine> makeEngine([[maybe_unused]] const EngineChoice& choice) {
#ifdef _WIN32
    if (!choice.core) {
        return std::make_unique<DllEngine>(choice);
    }
#endif
    return std::make_unique<CoreEngine>();
}

} // namespace tovix::render
