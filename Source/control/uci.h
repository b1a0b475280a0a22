// UCI: executes one command line at a time.
#pragma once

// Executes one UCI line; the line may be changed.
void command_dispatch(char *line);
