# Fails when one of the OBJECTS that are compiled for wider vectors than every processor has could do harm elsewhere:
# a function that other objects define too, of which the linker may keep this one for all processors; or one that uses
# wide vectors and returns without clearing the registers' upper halves, which makes the callers' own vectors slow.
# cmake -D OBJECTS=... -D OBJDUMP=... -D NM=... -D COMPILER=... -D WIN32_OBJECTS=... -P CheckVectorObjects.cmake

# faults(FILE RESULT): the names of such functions.
function(faults file result)
    execute_process(COMMAND ${NM} --defined-only ${file} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    # In ELF by their kind, in COFF by sections of their own. The compiler's own reference to its exceptions is data.
    string(REGEX MATCHALL " ([WVu] |t \\.text\\$)[^\n]+" shared "${symbols}")
    list(FILTER shared EXCLUDE REGEX "DW\\.ref\\.")
    execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${file} OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE ";" "," listing "${listing}")
    string(REGEX REPLACE "\n[0-9a-f]+ <" ";<" functions "${listing}")
    foreach(code IN LISTS functions)
        if(code MATCHES "%[yz]mm" AND code MATCHES "\tret" AND NOT code MATCHES "vzeroupper")
            string(REGEX MATCH "^<[^>]*>" name "${code}")
            list(APPEND shared "${name}")
        endif()
    endforeach()
    set(${result} "${shared}" PARENT_SCOPE)
endfunction()

# The check must find what it looks for: in a file with a function of both kinds and one of neither, two faults.
list(GET OBJECTS 0 planted)
string(APPEND planted .planted)
if(WIN32_OBJECTS)
    set(shared ".section .text$twice,\"x\"\n.linkonce discard\n.globl twice\n")
else()
    set(shared ".weak twice\n")
endif()
file(WRITE ${planted}.s "${shared}twice: vzeroupper\nret\n"
    ".text\ndirty: vmovups %ymm0, (%rcx)\nret\nclean: vmovups %ymm0, (%rcx)\nvzeroupper\nret\n")
execute_process(COMMAND ${COMPILER} -c ${planted}.s -o ${planted}.o COMMAND_ERROR_IS_FATAL ANY)
faults(${planted}.o found)
file(REMOVE ${planted}.s ${planted}.o)
list(LENGTH found count)
if(NOT count EQUAL 2)
    message(FATAL_ERROR "Of two planted faults ${count} were found: ${found}")
endif()

list(FILTER OBJECTS INCLUDE REGEX "Avx")
list(LENGTH OBJECTS count)
if(count EQUAL 0)
    message(FATAL_ERROR "There is no object for wide vectors.")
endif()
foreach(object IN LISTS OBJECTS)
    faults(${object} found)
    if(found)
        message(SEND_ERROR "${object}: ${found}")
    endif()
endforeach()
