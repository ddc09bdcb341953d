# tovix_split_debug_information(TARGET): for Windows, moves the debug information of a program or library that is shipped
# into a file of its own beside it, NAME.debug, which debuggers find by the link that the program keeps. Elsewhere the
# system's loader leaves such sections out of memory, and nothing is done.
function(tovix_split_debug_information target)
    if(NOT WIN32)
        return()
    endif()
    set(program $<TARGET_FILE:${target}>)
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${program} ${program}.debug
        COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${program}.debug ${program})
endfunction()
