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
#define FORM_real_to_complex FORM_unary
#define FORM_complex_to_real FORM_unary

/* Pack and Unpack: the kernel is given one argument more, the width switch 1 for 32-bit counts and strides. On
 * 64 bits it is the fifth and goes into a register; on 32 bits the arguments are copied into a new frame. Five words
 * where n is 64 bits wide, six where there is a stride too. */
#if defined(__x86_64__) && !defined(_WIN32)
#define PACK_JUMP(pair, slot, words) movl $1, %r8d; JUMP(pair, slot)
#else
#ifdef _WIN32
#define CALL_SLOT(pair, slot) call *(_orv_elw_kernel_##pair##_ttab + slot * SLOT_BYTES)
#else
#define CALL_SLOT(pair, slot) call .Lnext_instruction_in_eax; 2: call *(orv_slots_##pair + slot * SLOT_BYTES - 2b)(%eax)
#endif
#define PACK_JUMP(pair, slot, words) \
  pushl %ebp; movl %esp, %ebp; subl $(4 * (words + 1) + 15), %esp; andl $-16, %esp; \
  movl $1, 4 * words(%esp); \
  .irp word, 0, 1, 2, 3, 4, 5; .if \word < words; movl 8 + 4 * \word(%ebp), %eax; movl %eax, 4 * \word(%esp); .endif; .endr; \
  CALL_SLOT(pair, slot); leave; ret
#endif
#define PACK_THUNKS(x, pair, words) SLOTS(pair) \
  ENTRY(JOIN(_elw##pair, LA_##x)) PACK_JUMP(pair, 0, words); \
  ENTRY(_elw##pair) ENTRY(_elw##pair##_HA) PACK_JUMP(pair, 1, words); \
  ENTRY(JOIN(_elw##pair, EP_##x)) PACK_JUMP(pair, 2, words);
#define WORDS_PackI 6
#define WORDS_UnpackI 6
#define WORDS_PackM 5
#define WORDS_PackV 5
#define WORDS_UnpackM 5
#define WORDS_UnpackV 5
#define FORM_pack(x, name) PACK_THUNKS(x, x##name, WORDS_##name)

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
