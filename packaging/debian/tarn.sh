#!/bin/sh
# Starts the fastest build of Tarn that this processor can run. A build that it can't run says so and fails at once.
folder=/usr/libexec/tarn
program=$folder/tarn-x86-64-v3
"$program" --version >/dev/null 2>&1 || program=$folder/tarn-x86-64
exec "$program" "$@"
