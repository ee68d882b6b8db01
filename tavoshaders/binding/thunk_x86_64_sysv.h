/* Forwarding thunks for x86-64 with the System V calling convention.
 *
 * Supplies what thunks.S expects of every platform file:
 *   TAVO_THUNKS_BEGIN / TAVO_THUNKS_END   around the list
 *   TAVO_THUNK(name)          exported entry
 *   TAVO_HIDDEN_THUNK(name)   entry kept out of the export table
 *   TAVO_NO_THUNK(name)       entry written in C++: takes its slot, emits no code
 *
 * An entry knows nothing of its signature (thunk_x86_64.h). The resolved path
 * leaves %al, the vector register count of variadic calls, as the caller set
 * it; the first-call path saves the argument registers and %rax around the
 * C++ resolver and then jumps on. */

#if defined(__CET__)
#include <cet.h>
#endif
#ifndef _CET_ENDBR
#define _CET_ENDBR
#endif

#include "thunk_x86_64.h"

.macro tavo_thunk_body name
	.p2align 4
	.type \name, @function
\name:
	.cfi_startproc
	_CET_ENDBR
	tavo_thunk_code
	.cfi_endproc
	.size \name, . - \name
	tavo_next_slot
.endm

.macro tavo_thunk_exported name
	.globl \name
	tavo_thunk_body \name
.endm

.macro tavo_thunk_hidden name
	.globl \name
	.hidden \name
	tavo_thunk_body \name
.endm

/* First call of an entry whose slot is empty; %r11 holds the slot index, the
 * stack is as the caller left it (%rsp = 8 mod 16, the return address on top).
 * Frame: %rbp pushed (%rsp = 0 mod 16), then 192 bytes, a multiple of 16, so
 * the call to the resolver keeps the alignment that the ABI asks for.
 * Layout: xmm0-7 at 0..127 (aligned), rdi rsi rdx rcx r8 r9 rax at 128..183.
 * Vector arguments are passed in the low 128 bits only, so xmm is enough.
 * On success the frame is gone before the jump, so the renderer function
 * returns straight to the caller and finds the stack arguments untouched. On
 * failure it returns zero in every return register (rax, rdx, xmm0, xmm1). */
.macro tavo_first_call_path
	.text
	.hidden tavo_binding_slots
	.hidden tavo_binding_resolve
	.p2align 4
	.type tavo_binding_first_call, @function
tavo_binding_first_call:
	.cfi_startproc
	pushq %rbp
	.cfi_def_cfa_offset 16
	.cfi_offset %rbp, -16
	movq %rsp, %rbp
	.cfi_def_cfa_register %rbp
	subq $192, %rsp
	movaps %xmm0, 0(%rsp)
	movaps %xmm1, 16(%rsp)
	movaps %xmm2, 32(%rsp)
	movaps %xmm3, 48(%rsp)
	movaps %xmm4, 64(%rsp)
	movaps %xmm5, 80(%rsp)
	movaps %xmm6, 96(%rsp)
	movaps %xmm7, 112(%rsp)
	movq %rdi, 128(%rsp)
	movq %rsi, 136(%rsp)
	movq %rdx, 144(%rsp)
	movq %rcx, 152(%rsp)
	movq %r8, 160(%rsp)
	movq %r9, 168(%rsp)
	movq %rax, 176(%rsp)
	movl %r11d, %edi
	call tavo_binding_resolve
	movq %rax, %r11
	movaps 0(%rsp), %xmm0
	movaps 16(%rsp), %xmm1
	movaps 32(%rsp), %xmm2
	movaps 48(%rsp), %xmm3
	movaps 64(%rsp), %xmm4
	movaps 80(%rsp), %xmm5
	movaps 96(%rsp), %xmm6
	movaps 112(%rsp), %xmm7
	movq 128(%rsp), %rdi
	movq 136(%rsp), %rsi
	movq 144(%rsp), %rdx
	movq 152(%rsp), %rcx
	movq 160(%rsp), %r8
	movq 168(%rsp), %r9
	movq 176(%rsp), %rax
	leave
	.cfi_def_cfa %rsp, 8
	testq %r11, %r11
	jz 1f
	jmp *%r11
1:
	xorl %eax, %eax
	xorl %edx, %edx
	xorps %xmm0, %xmm0
	xorps %xmm1, %xmm1
	ret
	.cfi_endproc
	.size tavo_binding_first_call, . - tavo_binding_first_call
.endm

#define TAVO_THUNKS_BEGIN tavo_first_call_path
#define TAVO_THUNK(name) tavo_thunk_exported name
#define TAVO_HIDDEN_THUNK(name) tavo_thunk_hidden name
#define TAVO_NO_THUNK(name) tavo_next_slot
#define TAVO_THUNKS_END .section .note.GNU-stack, "", @progbits
