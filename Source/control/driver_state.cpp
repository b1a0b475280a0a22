// The record of the main loop.
#include "control/driver_state.h"

#include "search/search_state.h"

DriverState driver;

void stop_running_search() {
    search_run.stop = 1;
    add_search_state(SEARCH_STOP);
}
