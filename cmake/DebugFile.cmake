# tovix_split_debug_information(TARGET): for Windows, moves the debug information of a program or library that is shipped
# into a file of its own beside it, NAME.debug, which debuggers find by the link that the program keeps. Elsewhere the
# system's loader leaves such sections out of memory, and nothing is done.
function(tovix_split_debug_information target)
    if(NOT WIN32)
        return()
    endif()
    set(program $<TARGET_FILE:${target}>)
    # It writes the present time into the file, unless this variable has another.
    set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY})
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${objcopy} --only-keep-debug ${program} ${program}.debug
        COMMAND ${objcopy} --strip-all --add-gnu-debuglink=${program}.debug ${program})
endfunction()
