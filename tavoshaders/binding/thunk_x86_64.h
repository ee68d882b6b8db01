/* What the x86-64 forwarding thunks share whatever the calling convention:
 * the slot counter and the code of an entry. Included by the platform files,
 * which add the symbol's decoration and the first-call path.
 *
 * Resolved, an entry costs one load, one test and one jump, leaving every
 * argument register and the stack arguments as the caller set them.
 * Unresolved, it hands its slot index in %r11 to tavo_binding_first_call.
 * %r11 is the scratch register throughout: neither convention gives it a role
 * at a call boundary. */

/* Slot index of the next entry of the list, counted as the list is expanded. */
.set .Ltavo_next_slot, 0

.macro tavo_thunk_code
	movq tavo_binding_slots + 8 * .Ltavo_next_slot(%rip), %r11
	testq %r11, %r11
	jz 1f
	jmp *%r11
1:
	movl $.Ltavo_next_slot, %r11d
	jmp tavo_binding_first_call
.endm

.macro tavo_next_slot
	.set .Ltavo_next_slot, .Ltavo_next_slot + 1
.endm
