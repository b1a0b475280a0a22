// The main loop of normal play.
#pragma once

// Returns when driver.quit is set.
void game_driver();
