// The table of named weights of the hand-crafted evaluation.
#pragma once

#include "platform/integers.h"

// Registers all records in order; once, before load_parameter_text.
void init_parameters();
// Parses the built-in parameter text into the table.
void load_parameter_text();
