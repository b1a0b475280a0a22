// Network pruning (-prune_nn).
#pragma once

void prune_network();
