#include "system/GuardedCall.h"

#include <windows.h>

namespace {

/// Code of every C++ exception that the platform's compiler throws. A catch clause of this compiler sees its
/// own exceptions only.
constexpr DWORD platformCppException = 0xE06D7363;

} // namespace

extern "C" [[gnu::used]] LONG tovixExceptionFilter(const EXCEPTION_POINTERS* pException, void* /*pFrame*/) noexcept {
    return pException->ExceptionRecord->ExceptionCode == platformCppException ? EXCEPTION_EXECUTE_HANDLER
                                                                              : EXCEPTION_CONTINUE_SEARCH;
}

// Written out because this compiler has no structured exception handling: one frame whose handler table sends
// what the filter picks to the label below, with the stack unwound to here.
asm(R"(
    .section RT_CODE,"xr"
    .p2align 4
    .globl tovixGuardedCall
    .def tovixGuardedCall; .scl 2; .type 32; .endef
    .seh_proc tovixGuardedCall
tovixGuardedCall:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movq %rcx, %rax
    movq %rdx, %rcx
.LtovixGuardBegin:
    call *%rax
    nop
.LtovixGuardEnd:
    movl $1, %eax
.LtovixGuardLeave:
    addq $40, %rsp
    ret
.LtovixGuardThrown:
    xorl %eax, %eax
    jmp .LtovixGuardLeave
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .LtovixGuardBegin, .LtovixGuardEnd, tovixExceptionFilter, .LtovixGuardThrown
    .section RT_CODE,"xr"
    .seh_endproc
    .text
)");
