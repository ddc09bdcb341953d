# The libraries from elsewhere, as targets: Tovix::fftw Tovix::sndfile Tovix::ebur128 Tovix::cli11 Tovix::json.
# Natively from the system; for Windows from the prefix that scripts/setup links, or from your own.

if(WIN32)
    set(TOVIX_WINDOWS_LIBRARIES ${PROJECT_SOURCE_DIR}/build/windows-libraries CACHE PATH
        "Prefix with the static Windows libraries and the header-only ones")
    if(NOT EXISTS ${TOVIX_WINDOWS_LIBRARIES}/lib/libfftw3f.a)
        message(FATAL_ERROR "No Windows libraries in ${TOVIX_WINDOWS_LIBRARIES}: run scripts/setup first.")
    endif()
    list(APPEND CMAKE_FIND_ROOT_PATH ${TOVIX_WINDOWS_LIBRARIES})
endif()

# tovix_dependency(NAME HEADER [LIBRARY]): the target Tovix::NAME; without LIBRARY it is headers alone. The places are
# cached as TOVIX_<NAME>_INCLUDE and TOVIX_<NAME>_LIBRARY, which name your own build where they are set.
function(tovix_dependency name header)
    string(TOUPPER ${name} upper)
    find_path(TOVIX_${upper}_INCLUDE ${header} REQUIRED)
    add_library(tovix_${name} INTERFACE)
    add_library(Tovix::${name} ALIAS tovix_${name})
    target_include_directories(tovix_${name} SYSTEM INTERFACE ${TOVIX_${upper}_INCLUDE})
    if(ARGC GREATER 2)
        find_library(TOVIX_${upper}_LIBRARY ${ARGV2} REQUIRED)
        target_link_libraries(tovix_${name} INTERFACE ${TOVIX_${upper}_LIBRARY})
    endif()
endfunction()

tovix_dependency(fftw fftw3.h fftw3f)
if(TOVIX_BUILD_TOOLS OR TOVIX_BUILD_TESTS)
    tovix_dependency(sndfile sndfile.h sndfile)
    tovix_dependency(ebur128 ebur128.h ebur128)
    tovix_dependency(cli11 CLI/CLI.hpp)
    tovix_dependency(json nlohmann/json.hpp)
endif()
