// Brings the engine's library up inside a program of its own.
#pragma once

// Attack tables, settings, the master record, evaluation parameters and the network: "embedded" or a
// file. Everything but the hash table. False after a line on standard error: no memory, or the file
// can't be opened or is no whole network. `use_network` false selects the hand-crafted evaluation.
bool start_engine_library(const char *network, bool use_network);
// Loads another network into the started engine; `network` and result as above.
bool load_named_network(const char *network);
