# Fails when LIBRARY moves a vector of 32 or 64 bytes to or from the stack as if that were aligned: on Windows x64 the
# stack is aligned to 16 bytes, and the move faults.
# cmake -D LIBRARY=... -D OBJDUMP=... -D COMPILER=... -P CheckStackMoves.cmake

# stack_moves(FILE RESULT): the lines of the file's disassembly that have such a move.
function(stack_moves file result)
    set(listing ${LIBRARY}.disassembly)
    execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${file} OUTPUT_FILE ${listing} COMMAND_ERROR_IS_FATAL ANY)
    file(STRINGS ${listing} found REGEX "vmov(aps|apd|dqa|dqa32|dqa64) .*%[yz]mm")
    list(FILTER found INCLUDE REGEX "\\(%r[sb]p")
    file(REMOVE ${listing})
    set(${result} "${found}" PARENT_SCOPE)
endfunction()

# The check must find what it looks for.
set(planted ${LIBRARY}.planted)
file(WRITE ${planted}.s "vmovaps %ymm0, 32(%rsp)\nvmovapd 64(%rbp), %zmm1\nvmovdqa64 %zmm1, (%rsp,%rax)\nvmovdqa -32(%rbp), %ymm2\n"
    "vmovups %ymm0, 32(%rsp)\nvmovaps %xmm0, 32(%rsp)\nvmovaps %ymm0, (%rcx)\n")
execute_process(COMMAND ${COMPILER} -c ${planted}.s -o ${planted}.o COMMAND_ERROR_IS_FATAL ANY)
stack_moves(${planted}.o found)
file(REMOVE ${planted}.s ${planted}.o)
list(LENGTH found count)
if(NOT count EQUAL 4)
    message(FATAL_ERROR "Of four planted moves ${count} were found: ${found}")
endif()

stack_moves(${LIBRARY} found)
if(found)
    list(LENGTH found count)
    list(SUBLIST found 0 10 found)
    list(JOIN found "\n" found)
    message(FATAL_ERROR "${count} aligned moves of wide vectors on the stack in ${LIBRARY}:\n${found}")
endif()
