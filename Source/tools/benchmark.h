// The benchmark of 20 positions.
#pragma once

void run_bench(int threaded);
