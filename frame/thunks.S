/* The named entries of each level: one load of the table's slot and one jump, arguments untouched. On 32-bit
 * Linux the position-independent address is formed first. Written in assembler so that no compiler can fold
 * the slot. */
#if defined(__x86_64__)
#define SLOT_BYTES 8
#define JUMP(pair, slot) jmp *(orv_slots_##pair + slot * SLOT_BYTES)(%rip)
#define SYMBOL(name) name
#elif defined(_WIN32)
#define SLOT_BYTES 4
#define JUMP(pair, slot) jmp *(_orv_elw_kernel_##pair##_ttab + slot * SLOT_BYTES)
#define SYMBOL(name) _##name
#else
#define SLOT_BYTES 4
#define JUMP(pair, slot) call .Lnext_instruction_in_eax; 1: jmp *(orv_slots_##pair + slot * SLOT_BYTES - 1b)(%eax)
#define SYMBOL(name) name
#endif

#ifdef _WIN32
#define ENTRY_(name) .globl SYMBOL(name); .p2align 4; SYMBOL(name):
#else
#define ENTRY_(name) .globl name; .type name, @function; .p2align 4; name:
#endif
#define ENTRY(name) ENTRY_(name)
#define JOIN_(a, b) a##b
#define JOIN(a, b) JOIN_(a, b)
#define LA_s _21
#define LA_d _50
#define LA_c _21
#define LA_z _50
#define EP_s _11
#define EP_d _26
#define EP_c _11
#define EP_z _26

#ifdef _WIN32
#define SLOTS(pair)
#else
#define SLOTS(pair) .hidden orv_slots_##pair;
#endif
#define THUNKS(x, pair) SLOTS(pair) \
  ENTRY(JOIN(_elw##pair, LA_##x)) JUMP(pair, 0); \
  ENTRY(_elw##pair) ENTRY(_elw##pair##_HA) JUMP(pair, 1); \
  ENTRY(JOIN(_elw##pair, EP_##x)) JUMP(pair, 2);

#define FORM_unary(x, name) THUNKS(x, x##name) THUNKS(x, x##name##I)
#define FORM_binary FORM_unary
#define FORM_two_results FORM_unary
#define FORM_scalar FORM_unary
#define FORM_linear_frac FORM_unary

        .text
#if defined(__i386__) && !defined(_WIN32)
        .p2align 4
.Lnext_instruction_in_eax:
        movl (%esp), %eax
        ret
#endif

#define ORV_FUNCTION(x, name, form, slots, family, ha, la, ep) FORM_##form(x, name)
#include "orv/functions.def"

#ifndef _WIN32
        .section .note.GNU-stack, "", @progbits
#endif
