// The measure of the program's speed, at start.
#pragma once

// Sets `calibration` by a short search and prints the line about it. Leaves its position on the board.
void calibrate();
