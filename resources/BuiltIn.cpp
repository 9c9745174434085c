// What ships inside the library, as the build made it, among the program's constants. Read it through
// kestrel/storage/BuiltInData.h.
asm(R"(
    .section .rodata
    .balign 64
    .globl kestrel_built_in_begin
    .hidden kestrel_built_in_begin
    .globl kestrel_built_in_end
    .hidden kestrel_built_in_end
kestrel_built_in_begin:
    .incbin ")" KESTREL_BUILT_IN R"("
kestrel_built_in_end:
    .byte 0
    .text
)");
