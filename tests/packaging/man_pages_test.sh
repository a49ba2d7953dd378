#!/bin/sh
# The man pages are well-formed, and name what the programs take: no more and no less. The README names
# every command, and each fault is one of a model.
#   man_pages_test.sh SOURCE_FOLDER BINARY_FOLDER
set -u
source=$1
programs=$2/bin
rigtool_page=$source/docs/man/rigtool.1
rigsetup_page=$source/docs/man/rigsetup.1
rigsim_page=$2/package/rigsim.1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# The terms that a section of a page explains, as they are read.
terms()
{
    sed -n "/^\.SH $2/,/^\.SH/p" "$1" | awk '
        isTerm { sub(/^\.[A-Z]+ /, ""); gsub(/[" ]|\\f.|\\&/, ""); gsub(/\\-/, "-"); print }
        { isTerm = /^\.T[PQ]$/ }'
}

# The terms' names alone.
names()
{
    tr , '\n' | sed 's/[(=[].*//' | sed -E 's/^(-t|--?[a-z-]+)[A-Z].*/\1/' | sort
}

# compare WHAT: what the page (file) has beside what is expected (standard input).
compare()
{
    sort >"$work/expected"
    [ -s "$work/expected" ] || { echo "$1: nothing to compare with"; status=1; }
    diff "$work/expected" "$work/page" >"$work/diff" && return
    echo "$1 (<: lacking in the page, >: only there):"
    cat "$work/diff"
    status=1
}

help_options()
{
    "$programs/$1" ${2:+"$2"} --help | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr , '\n'
}

subcommands()
{
    "$programs/rigsetup" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][^ ]*\).*/\1/p'
}

for page in "$rigtool_page" "$rigsetup_page" "$rigsim_page" "$source/docs/man/rigtool-plot-precision.1"; do
    LC_ALL=C.UTF-8 MANROFFSEQ= man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>"$work/warnings" >/dev/null || status=1
    [ ! -s "$work/warnings" ] || { cat "$work/warnings"; status=1; }
done

terms "$rigtool_page" OPTIONS | names >"$work/page"
help_options rigtool | compare "options of rigtool"

terms "$rigtool_page" SETTINGS | names >"$work/page"
"$programs/rigtool" --help | sed -n '/^Settings:/,/^$/s/^  \([^ ]*\) .*/\1/p' | compare "settings"

terms "$rigsetup_page" OPTIONS | names | uniq >"$work/page"
{ help_options rigsetup; for name in $(subcommands); do help_options rigsetup "$name"; done; } | tr , '\n' |
    sort -u | compare "options of rigsetup"
sed -n '/^\.SH SUBCOMMANDS/,/^\.SH OPTIONS/s/^\.SS //p' "$rigsetup_page" | sort >"$work/page"
subcommands | compare "subcommands"

terms "$rigsim_page" OPTIONS | names >"$work/page"
help_options rigsim | compare "options of rigsim"

terms "$rigsim_page" FAULTS | sort >"$work/page"
"$programs/rigsim" --help | sed -n 's/^  \([a-z]*\.[a-z][^ ]*\).*/\1/p' | compare "faults"

# Some model asks for each fault, by its whole name or by what the devices have in common.
"$programs/rigsim" --help | sed -n 's/^  [a-z]*\.\([a-z][a-z0-9-]*\).*/\1/p' | while IFS= read -r fault; do
    grep -q "[.\"]$fault\"" $(find "$source/tools/rigsim" -type f ! -name faults.cpp) ||
        echo "no model has the fault $fault"
done >"$work/lacking"
[ ! -s "$work/lacking" ] || { cat "$work/lacking"; status=1; }

terms "$rigtool_page" COMMANDS | sort >"$work/page"
"$programs/rigtool" --list-commands | compare "commands"
"$programs/rigtool" --list-commands | while IFS= read -r command; do
    grep -qF "\`$command\`" "$source/README.md" || echo "not in README.md: $command"
done >"$work/lacking"
[ ! -s "$work/lacking" ] || { cat "$work/lacking"; status=1; }

# The program takes each with as many arguments as the page gives it.
list=$(terms "$rigtool_page" COMMANDS | sed 's/[a-z_0-9]*\([,)]\)/1\1/g' | tr '\n' ';')
"$programs/rigtool" --dry-run -t "commands=${list%;}" >"$work/dry" || { echo "refused: $list"; status=1; }

exit $status
