// Console commands that rearrange the board by hand.
#pragma once

void edit_board();     // `edit`: reads its own lines from standard input until "." or its end
void reverse_board();  // `reverse`: top to bottom, with the colours exchanged
