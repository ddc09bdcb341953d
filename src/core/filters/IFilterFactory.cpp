#include "filters/IFilterFactory.h"

namespace tovix {

void IFilterFactory::configure(const GateSwitches&) {}

FilterList IFilterFactory::beginBuild() {
    return {};
}

FilterList IFilterFactory::saveState() {
    return {};
}

FilterList IFilterFactory::restoreState() {
    return {};
}

FilterList IFilterFactory::endBuild() {
    return {};
}

} // namespace tovix
