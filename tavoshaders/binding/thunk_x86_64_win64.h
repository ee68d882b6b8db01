/* Forwarding thunks for x86-64 with the Microsoft x64 calling convention
 * (Windows, GNU as, COFF).
 *
 * Supplies what thunks.S expects of every platform file (see
 * thunk_x86_64_sysv.h); the entries' code is in thunk_x86_64.h. COFF has no
 * symbol visibility: an entry kept out of the export table is simply not in
 * the generated .def file. The entries neither move rsp nor save anything, so
 * they are leaf code that needs no unwind data. */

#include "thunk_x86_64.h"

.macro tavo_thunk name
	.globl \name
	.def \name; .scl 2; .type 32; .endef
	.p2align 4
\name:
	tavo_thunk_code
	tavo_next_slot
.endm

/* First call of an entry whose slot is empty; r11 holds the slot index, the
 * stack is as the caller left it (rsp = 8 mod 16, the return address on top,
 * above it the 32-byte home area of the four register arguments, which the
 * renderer function will own, then the stack arguments: none of it is touched).
 * Frame of 136 bytes, so rsp = 0 mod 16 at the call to the resolver:
 *   0..31     home area for the resolver
 *   32..95    xmm0-xmm3 (16-byte aligned)
 *   96..135   rcx rdx r8 r9 rax (rax carries no argument, but costs nothing)
 * The unwind data describes the allocation and the vector saves, so stack walks
 * and debuggers go through this frame. On success the frame is gone before the
 * jump (an epilogue ending in a REX.W jump, the form the unwinder recognises),
 * and the renderer function returns straight to the caller. On failure it
 * returns zero in rax and xmm0. */
.macro tavo_first_call_path
	.text
	.def tavo_binding_first_call; .scl 3; .type 32; .endef
	.p2align 4
tavo_binding_first_call:
	.seh_proc tavo_binding_first_call
	subq $136, %rsp
	.seh_stackalloc 136
	movaps %xmm0, 32(%rsp)
	.seh_savexmm %xmm0, 32
	movaps %xmm1, 48(%rsp)
	.seh_savexmm %xmm1, 48
	movaps %xmm2, 64(%rsp)
	.seh_savexmm %xmm2, 64
	movaps %xmm3, 80(%rsp)
	.seh_savexmm %xmm3, 80
	.seh_endprologue
	movq %rcx, 96(%rsp)
	movq %rdx, 104(%rsp)
	movq %r8, 112(%rsp)
	movq %r9, 120(%rsp)
	movq %rax, 128(%rsp)
	movl %r11d, %ecx
	call tavo_binding_resolve
	movq %rax, %r11
	movaps 32(%rsp), %xmm0
	movaps 48(%rsp), %xmm1
	movaps 64(%rsp), %xmm2
	movaps 80(%rsp), %xmm3
	movq 96(%rsp), %rcx
	movq 104(%rsp), %rdx
	movq 112(%rsp), %r8
	movq 120(%rsp), %r9
	movq 128(%rsp), %rax
	testq %r11, %r11
	jz 1f
	addq $136, %rsp
	rex.W jmp *%r11
1:
	xorl %eax, %eax
	xorps %xmm0, %xmm0
	addq $136, %rsp
	ret
	.seh_endproc
.endm

#define TAVO_THUNKS_BEGIN tavo_first_call_path
#define TAVO_THUNK(name) tavo_thunk name
#define TAVO_HIDDEN_THUNK(name) tavo_thunk name
#define TAVO_NO_THUNK(name) tavo_next_slot
#define TAVO_THUNKS_END
