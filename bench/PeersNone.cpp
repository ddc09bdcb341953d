#include "Contestant.h"

namespace tovix::bench {

std::vector<std::unique_ptr<Contestant>> makePeers(const Shape&) {
    return {};
}

} // namespace tovix::bench
