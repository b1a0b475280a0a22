// The built-in network: the bytes of embedded_network.bin, header included. The build gives the path as NETWORK_PATH.
// Read by file.cpp.
#ifdef __MACH__
// The Mach-O object format: C names start with an underscore.
#define NAME(name) _##name
    .section __TEXT,__const
#else
#define NAME(name) name
    .section .rodata
#endif
    .balign 64
    .globl NAME(embedded_network)
NAME(embedded_network):
    .incbin NETWORK_PATH
    .globl NAME(embedded_network_end)
NAME(embedded_network_end):
#ifdef __ELF__
// Without this the linker would make the stack executable.
    .section .note.GNU-stack, "", %progbits
#endif
