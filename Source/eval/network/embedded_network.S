// The built-in network: the bytes of embedded_network.bin, header included. The build
// gives the path as NETWORK_PATH. Read by file.cpp.
    .section .rodata
    .balign 64
    .globl embedded_network
embedded_network:
    .incbin NETWORK_PATH
    .globl embedded_network_end
embedded_network_end:
