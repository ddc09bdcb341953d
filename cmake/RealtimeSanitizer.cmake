# RealtimeSanitizer's run-time library, which Debian ships with a clang that has no flag for it. Linked whole into a
# GCC build it takes over malloc, locks and blocking calls, and between the calls
#     extern "C" void __rtsan_realtime_enter();
#     extern "C" void __rtsan_realtime_exit();
# it ends the process with a message at any of them.

file(GLOB places /usr/lib/llvm-*/lib/clang/*/lib/linux)
find_library(TOVIX_RTSAN_RUNTIME libclang_rt.rtsan-x86_64.a PATHS ${places} NO_DEFAULT_PATH REQUIRED)

# tovix_add_realtime_tests(TARGET): a test program that is watched by RealtimeSanitizer; labelled core-realtime.
function(tovix_add_realtime_tests target)
    target_link_options(${target} PRIVATE
        LINKER:--whole-archive ${TOVIX_RTSAN_RUNTIME} LINKER:--no-whole-archive LINKER:--export-dynamic)
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS} m pthread)
    tovix_add_tests(${target} core-realtime)
endfunction()
