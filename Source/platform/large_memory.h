// Large zeroed blocks of memory, on large pages where the system gives them: for the hash table and the network.
#pragma once

#include "platform/integers.h"

void *allocate_large(u64 bytes);  // zeroed, page-aligned; null when it can't be had
void free_large(void *block, u64 bytes);
