#!/bin/bash
# What the completion offers. Run under rigsim, whose serial lines it finds.
#   rigsim -- completion_test.sh COMPLETION PROGRAM_FOLDER
. /usr/share/bash-completion/bash_completion
. "$1"
PATH=$2:$PATH
status=0

# Outside of a completion there is none; notes what was asked for.
compopt() { asked+="$*"; }

# offers EXPECTED WORD...: the words of a line as bash cuts them, the cursor behind the last one.
offers()
{
    local expected=$1 asked=""
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE} COMPREPLY=()
    "_$1" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    local found="${COMPREPLY[*]}${asked:+ ($asked)}"
    [[ $found != $expected ]] || return
    printf "%s\n    expected: %s\n    found:    %s\n" "$COMP_LINE" "$expected" "$found"
    status=1
}

offers "--log-level --log-break-level" rigtool --log
offers "*-t -v *--version*" rigtool -
offers "margin1neg= margin1pos= margin2= (-o nospace)" rigtool -t mar
offers "" rigtool -t nothing
offers "/dev/ttyUSB0 /dev/ttyUSB1 /dev/ttyUSB2" rigtool -t device = /dev/ttyUSB
offers "device=/dev/ttyUSB0 device=/dev/ttyUSB1 *" rigtool -t "'dev"
offers "*2 3 *" rigtool --log-level ""

# Unquoted, "(" needs a backslash; in a quote, bash would close it behind a single offer.
offers "getpantiltzoom" rigtool -t commands = get
offers 'laser\\( (-o nospace)' rigtool -t commands = las
offers "commands=laser( commands=laser(n) (-o nospace)" rigtool -t "'commands=las"
offers "commands=pantilt(1,2);resetptz" rigtool -t '"commands=pantilt(1,2);res'
offers "*commands=kinect *" rigtool -t "'comm"

offers "cbus camera" rigsetup c
offers "identify" rigsetup i
offers "--power" rigsetup camera --po
offers "--install" rigsetup names --in
offers "on" rigsetup camera --power o
offers "/dev/ttyUSB1" rigsetup camera --device = /dev/ttyUSB1

offers "camera.slow= (-o nospace)" rigsim --fault camera.slo
offers "camera.cut camera.cut=" rigsim --speed 2 --fault = camera.cu
offers "*laser.stuck laser.unplug= *" rigsim --fault laser.
offers "--serve" rigsim --se
offers "/dev (-o filenames)" rigsim --serve /de
offers "rigsim*" rigsim -- rigsi
offers "*device=*" rigsim --fault camera.silent -- rigtool -t ""

exit $status
