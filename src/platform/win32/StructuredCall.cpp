#include "platform/win32/StructuredCall.h"

#include "platform/win32/System.h"

#if defined(_MSC_VER)

extern "C" unsigned long KelStructuredCall(void (*call)(void*), void* argument) {
  __try {
    call(argument);
    return 0;
  } __except (EXCEPTION_EXECUTE_HANDLER) {
    const unsigned long code = GetExceptionCode();
    return code == 0 ? 1 : code;
  }
}

#elif defined(__x86_64__)

// GCC has no syntax for structured exceptions, but its assembler can name a function's handler.
asm(R"(
    .text
    .globl KelStructuredCall
    .globl KelStructuredCallEnd
    .def KelStructuredCall; .scl 2; .type 32; .endef
    .seh_proc KelStructuredCall
KelStructuredCall:
    pushq %rbp
    .seh_pushreg %rbp
    movq %rsp, %rbp
    .seh_setframe %rbp, 0
    subq $32, %rsp
    .seh_stackalloc 32
    .seh_endprologue
    movq %rcx, %rax
    movq %rdx, %rcx
    call *%rax
    xorl %eax, %eax
KelStructuredCallEnd:
    leaq (%rbp), %rsp
    popq %rbp
    ret
    .seh_handler KelStructuredCallHandler, @except
    .seh_endproc
)");

extern "C" void KelStructuredCallEnd();

// Unwinds to the end of the call, which then returns the exception's code. While unwinding, the system calls
// the handler again; that call does nothing.
extern "C" EXCEPTION_DISPOSITION KelStructuredCallHandler(EXCEPTION_RECORD* record, void* frame,
                                                          CONTEXT* /*context*/,
                                                          DISPATCHER_CONTEXT* dispatcher) {
  constexpr DWORD kUnwinding = 0x2 | 0x4;
  if ((record->ExceptionFlags & kUnwinding) == 0) {
    const ULONG_PTR code = record->ExceptionCode == 0 ? 1 : record->ExceptionCode;
    RtlUnwindEx(frame, reinterpret_cast<void*>(&KelStructuredCallEnd), record, reinterpret_cast<void*>(code),
                dispatcher->ContextRecord, dispatcher->HistoryTable);
  }
  return ExceptionContinueSearch;
}

#elif defined(__i386__)

// Registers the handler on the stack: the previous registration, the handler, and the frame pointer to return
// to.
asm(R"(
    .text
    .globl _KelStructuredCall
_KelStructuredCall:
    pushl %ebp
    movl %esp, %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    pushl %ebp
    pushl $KelStructuredCallHandler
    pushl %fs:0
    movl %esp, %fs:0
    pushl 12(%ebp)
    call *8(%ebp)
    addl $4, %esp
    xorl %eax, %eax
KelStructuredCallEnd:
    popl %fs:0
    addl $8, %esp
    popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    ret

# (record, registration, ...): unwinds to the registration and goes to the end of the call with the exception's code as
# its result. Nothing is kept in registers over the unwinding, which need not preserve them.
KelStructuredCallHandler:
    movl 4(%esp), %eax
    testl $6, 4(%eax)
    jnz 1f
    movl 8(%esp), %ecx
    pushl $0
    pushl %eax
    pushl $2f
    pushl %ecx
    call _RtlUnwind@16
2:
    movl 4(%esp), %eax
    movl (%eax), %eax
    testl %eax, %eax
    jnz 3f
    incl %eax
3:
    movl 8(%esp), %esp
    movl 8(%esp), %ebp
    jmp KelStructuredCallEnd
1:
    movl $1, %eax
    ret
)");

#else
#error "The handling of structured exceptions is to be written for this processor."
#endif
