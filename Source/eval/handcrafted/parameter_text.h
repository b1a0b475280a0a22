// The built-in parameter text, read once at start by load_parameter_text.
#pragma once

extern const char PARAMETER_TEXT[];
