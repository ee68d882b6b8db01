/* Forwarding thunks for x86-64 with the System V calling convention.
 *
 * Supplies what thunks.S expects of every platform file:
 *   TAVO_THUNKS_BEGIN / TAVO_THUNKS_END   around the list
 *   TAVO_THUNK(name)          exported entry
 *   TAVO_HIDDEN_THUNK(name)   entry kept out of the export table
 *   TAVO_NO_THUNK(name)       entry written in C++: takes its slot, emits no code
 *
 * An entry knows nothing of its signature. Resolved, it costs one load, one
 * test and one jump, leaving every argument register, %al (the vector
 * register count of variadic calls) and the stack arguments as the caller set
 * them. Unresolved, it hands its slot index in %r11 to one shared first-call
 * path, which saves the argument registers around the C++ resolver and then
 * jumps on. %r11 is the scratch register throughout: the ABI gives it no role
 * at a call boundary, unlike %rax and %r10. */

#if defined(__CET__)
#include <cet.h>
#endif
#ifndef _CET_ENDBR
#define _CET_ENDBR
#endif

/* Slot index of the next entry of the list, counted as the list is expanded. */
.set .Ltavo_next_slot, 0

.macro tavo_thunk_body name
	.p2align 4
	.type \name, @function
\name:
	.cfi_startproc
	_CET_ENDBR
	movq tavo_binding_slots + 8 * .Ltavo_next_slot(%rip), %r11
	testq %r11, %r11
	jz 1f
	jmp *%r11
1:
	movl $.Ltavo_next_slot, %r11d
	jmp tavo_binding_first_call
	.cfi_endproc
	.size \name, . - \name
	.set .Ltavo_next_slot, .Ltavo_next_slot + 1
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

.macro tavo_slot_only
	.set .Ltavo_next_slot, .Ltavo_next_slot + 1
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
#define TAVO_NO_THUNK(name) tavo_slot_only
#define TAVO_THUNKS_END .section .note.GNU-stack, "", @progbits
