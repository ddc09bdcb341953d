# Fails when a Windows program or library in FOLDER would need one of the compiler's own run-time libraries.
# cmake -D FOLDER=... -D OBJDUMP=... -P CheckImports.cmake

file(GLOB_RECURSE programs ${FOLDER}/*.exe ${FOLDER}/*.dll)
if(NOT programs)
    message(FATAL_ERROR "No programs in ${FOLDER}.")
endif()
foreach(program IN LISTS programs)
    execute_process(COMMAND ${OBJDUMP} -p ${program} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "DLL Name: lib[^\n]*" found "${headers}")
    if(found)
        message(SEND_ERROR "${program} is not self-contained: ${found}")
    endif()
endforeach()
