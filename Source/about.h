// What the program tells about itself and ends: --help and --version.
#pragma once

// One page on standard output: what the program is and how it is used.
void print_help();
// Name, version, processor and system of the build, compiler, built-in network, bench signature.
void print_version();
