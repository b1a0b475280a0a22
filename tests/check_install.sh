#!/bin/sh
# `cmake --install` honours DESTDIR and the prefix, puts the program and its papers where they belong, and the manual
# page names every switch and every option of the program.
#   check_install.sh BUILD_FOLDER PROJECT_FOLDER
set -u
stage=$(mktemp -d) || exit 2
trap 'rm -rf "$stage"' EXIT
DESTDIR=$stage cmake --install "$1" --prefix /opt/chess >/dev/null || exit 1
installed=$stage/opt/chess
status=0
fault() { echo "$1"; status=1; }

for file in bin/tarn share/doc/tarn/README.md share/doc/tarn/docs/network-format.md share/games/plugins/uci/tarn.eng; do
    [ -f "$installed/$file" ] || fault "$file is not installed"
done
[ "$(ls "$stage")" = opt ] || fault "something outside the prefix: $(ls "$stage")"
"$installed/bin/tarn" --version | grep -q '^Tarn ' || fault "the installed program does not run"

page=$installed/share/man/man6/tarn.6
if ! command -v python3 >/dev/null; then
    echo "no Python: no manual page to check"
    exit $status
fi
[ -f "$page" ] || { echo "no manual page"; exit 1; }
sed 's/\\-/-/g; s/\\fB//g; s/\\fR//g' "$page" >"$stage/page"
switches=$(sed -n 's/^    {"\([^"]*\)", SW_.*/\1/p' "$2/Source/command_line.cpp")
options=$("$installed/bin/tarn" -uci <<END | sed -n 's/^option name \(.*\) type .*/\1/p' | tr ' ' '_'
uci
END
)
[ "$(echo "$switches" | wc -l)" -ge 40 ] && [ "$(echo "$options" | wc -l)" -ge 20 ] || fault "too few names found"
for name in $switches; do
    grep -qE "^([^ ]+, )*$name(,| |\$)" "$stage/page" || fault "the manual page lacks the switch $name"
done
for name in $options; do
    grep -qxF "$(echo "$name" | sed 's/^Clear_/Clear /')" "$stage/page" || fault "the manual page lacks the option $name"
done
if command -v groff >/dev/null; then
    warnings=$(groff -man -Tutf8 -ww -z "$page" 2>&1) && [ -z "$warnings" ] || fault "groff: $warnings"
fi
exit $status
