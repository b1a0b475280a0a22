#!/bin/sh
# `cmake --install` honours DESTDIR and the prefix and puts the program and its papers where they belong.
#   check_install.sh BUILD_FOLDER
set -u
stage=$(mktemp -d) || exit 2
trap 'rm -rf "$stage"' EXIT
DESTDIR=$stage cmake --install "$1" --prefix /opt/chess >/dev/null || exit 1
status=0
for file in bin/tarn share/man/man6/tarn.6 share/doc/tarn/README.md share/doc/tarn/docs/network-format.md \
    share/games/plugins/uci/tarn.eng; do
    [ -f "$stage/opt/chess/$file" ] || { echo "$file is not installed"; status=1; }
done
[ "$(ls "$stage")" = opt ] || { echo "something outside the prefix: $(ls "$stage")"; status=1; }
"$stage/opt/chess/bin/tarn" --version | grep -q '^Tarn ' || { echo "the installed program does not run"; status=1; }
exit $status
