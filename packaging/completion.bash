# bash completion for rigtool, rigsetup and rigsim. Commands, options, settings and faults are those that the
# program tells; it does so in milliseconds.

# What a program's --help tells.
_rigtool_help()
{
    "${1/#\~/$HOME}" --help 2>/dev/null
}

# The commands with their arguments.
_rigtool_commands()
{
    "${1/#\~/$HOME}" --list-commands 2>/dev/null
}

_rigtool_options()
{
    _rigtool_help "$1" | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr , '\n'
}

_rigtool_settings()
{
    _rigtool_help "$1" | sed -n '/^Settings:/,/^$/s/^  \([^ ]*\) .*/\1=/p'
}

# "camera.slow=" needs a value; "camera.cut" and "camera.cut=" may have one.
_rigsim_faults()
{
    _rigtool_help "$1" | sed -n '/^Faults of/,/^$/s/^  \([a-z]*\.[^ ]*\).*/\1/p' |
        sed 's/^\(.*\)\[=.*/\1\n\1=/; s/=.*/=/'
}

_rigtool_devices()
{
    compgen -G '/dev/ttyUSB*'
    compgen -G '/dev/ttyACM*'
    compgen -G '/dev/serial/by-id/*'
}

# Cuts the word at the cursor. bash takes an unquoted NAME=VALUE as three words, of which it replaces
# the value; a quoted one as one word, of which it replaces all behind the quote.
# Sets: previous  the word before
#       name      what stands before "=", empty where there is no "="
#       typed     the value, or the word where there is no "="
#       quote     the quote that is open, or empty
#       kept      what a reply must repeat before the value
_rigtool_cut()
{
    local here=$COMP_CWORD
    name="" kept="" quote=""
    typed=${COMP_WORDS[here]}
    previous=${COMP_WORDS[here - 1]}
    if [[ $typed == "=" ]]; then
        name=$previous typed="" previous=${COMP_WORDS[here - 2]}
    elif [[ $previous == "=" ]]; then
        name=${COMP_WORDS[here - 2]} previous=${COMP_WORDS[here - 3]}
    fi
    if [[ $typed == [\'\"]* ]]; then
        quote=${typed:0:1} typed=${typed:1}
        if [[ -z $name && $typed == *=* ]]; then
            name=${typed%%=*} kept=$name= typed=${typed#*=}
        fi
    fi
    if [[ $name == --* ]]; then  # --option=value
        previous=$name name=""
    fi
}

# Replies with those of the words $1 that begin with what is typed.
_rigtool_reply()
{
    local word
    for word in $1; do
        [[ $word != "$typed"* ]] || COMPREPLY+=("$kept$word")
    done
    # A name is to be followed by its value, "(" by arguments.
    [[ ${COMPREPLY[0]} != *[=\(] ]] || compopt -o nospace
}

_rigtool_reply_files()
{
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen "$1" -- "$typed")
}

_rigtool_reply_commands()
{
    local before=${typed%"${typed##*;}"} word name words=""
    kept+=$before typed=${typed#"$before"}
    for word in $(_rigtool_commands "$1"); do
        name=${word%%[(]*}
        if [[ $name == "$word" ]]; then
            words+=" $word"
        elif [[ -z $quote ]]; then
            words+=" $name\\("
        else  # a single match would make bash close the quote: the arguments stand beside the name
            words+=" $name( $word"
        fi
    done
    _rigtool_reply "$words"
}

_rigtool_reply_setting()
{
    case $name in
        "") _rigtool_reply "$(_rigtool_settings "$1")" ;;
        device) _rigtool_reply "$(_rigtool_devices)" ;;
        commands) _rigtool_reply_commands "$1" ;;
    esac
    # In a quote, a setting that is found goes on with its values, for the same reason as above.
    if [[ -n $quote && -z $name && ${#COMPREPLY[@]} -eq 1 ]]; then
        local found=${COMPREPLY[0]}
        name=${found%=} kept=$found typed="" COMPREPLY=()
        _rigtool_reply_setting "$1"
        [[ ${#COMPREPLY[@]} -gt 0 ]] || COMPREPLY=("$found")
    fi
}

_rigtool()
{
    local previous name typed quote kept
    COMPREPLY=()
    _rigtool_cut
    case $previous in
        -t) _rigtool_reply_setting "$1" ;;
        --log-level | --log-break-level) _rigtool_reply "0 1 2 3 4 5 6" ;;
        *) [[ -n $name ]] || _rigtool_reply "$(_rigtool_options "$1")" ;;
    esac
}

_rigsetup_subcommands()
{
    _rigtool_help "$1" | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][^ ]*\).*/\1/p'
}

_rigsetup()
{
    local previous name typed quote kept subcommand=${COMP_WORDS[1]}
    COMPREPLY=()
    _rigtool_cut
    if [[ $COMP_CWORD -eq 1 ]]; then
        _rigtool_reply "$(_rigsetup_subcommands "$1") $(_rigtool_options "$1")"
        return
    fi
    case $previous in
        --device | --camera | --servos | --laser) _rigtool_reply "$(_rigtool_devices)" ;;
        --folder) _rigtool_reply_files -d ;;
        --backup | --restore) _rigtool_reply_files -f ;;
        --power) _rigtool_reply "on standby" ;;
        *) _rigtool_reply "$("${1/#\~/$HOME}" "$subcommand" --help 2>/dev/null |
            sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr , '\n')" ;;
    esac
}

_rigsim()
{
    local previous name typed quote kept i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} != -- ]] || break
    done
    if ((i < COMP_CWORD)); then  # behind "--": another program's line, completed as that
        _command_offset $((i + 1))
        return
    fi
    _rigtool_cut
    case $previous in
        --fault) _rigtool_reply "$(_rigsim_faults "$1")" ;;
        --trace | --state) _rigtool_reply_files -f ;;
        --serve) _rigtool_reply_files -d ;;
        *) [[ -n $name ]] || _rigtool_reply "$(_rigtool_options "$1") --" ;;
    esac
}

complete -F _rigtool rigtool
complete -F _rigsetup rigsetup
complete -F _rigsim rigsim
