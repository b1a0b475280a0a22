// The built-in parameter text, read once at start by load_weights.
#pragma once

extern const char PARAMETER_TEXT[];
