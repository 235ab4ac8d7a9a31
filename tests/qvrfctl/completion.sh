#!/usr/bin/env bash
# The completion knows every command and option of the program, and completes them: completion.sh COMPLETION PROGRAM
set -euo pipefail
completion=$1 program=$2
source "$completion"
failures=0
wrong() { echo "$*"; failures=$((failures + 1)); }

# offered WORD... : leaves what is offered for the last word in $COMPREPLY. The function is called as the shell would:
# no shell is asked to answer, and nothing depends on how long one takes.
offered() { COMP_WORDS=(qvrfctl "$@") COMP_CWORD=$# COMPREPLY=() && _qvrfctl; }
expect() { # NEEDLE WORD...
    offered "${@:2}"
    [[ " ${COMPREPLY[*]} " == *" $1 "* ]] || wrong "'${*:2}' does not offer $1, but: ${COMPREPLY[*]}"
}

long_options() { grep -oE -e '^ +(-[a-z],)?--[a-z-]+' <<<"$1" | grep -oE -e '--[a-z-]+'; }
subcommands() { sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\).*/\1/p' <<<"$1"; }

help=$("$program" --help)
commands=$(subcommands "$help")
[[ -n $commands ]] || wrong "the program's help lists no commands"
for option in $(long_options "$help"); do expect "$option" --; done
for command in $commands; do
    expect "$command" ""
    about=$("$program" "$command" --help)
    for option in $(long_options "$about"); do expect "$option" "$command" --; done
    for verb in $(subcommands "$about"); do
        expect "$verb" "$command" ""
        for option in $(long_options "$("$program" "$command" "$verb" --help)"); do
            expect "$option" "$command" "$verb" --
        done
    done
done
expect auto --generation a
expect root --address ::1 get --privilege r
expect /redfish/v1/ -v get ""
offered get --user ""
[[ ${#COMPREPLY[@]} -eq 0 ]] || wrong "a user name is offered: ${COMPREPLY[*]}"
exit $((failures > 0))
