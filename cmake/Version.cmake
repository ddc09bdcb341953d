# The version, which stands in the project() line alone. A target that links Tovix::version may include <tovix/Version.h>,
# its resource script too.

configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.h.in ${PROJECT_BINARY_DIR}/generated/tovix/Version.h)
add_library(tovix_version INTERFACE)
add_library(Tovix::version ALIAS tovix_version)
target_include_directories(tovix_version INTERFACE ${PROJECT_BINARY_DIR}/generated)
