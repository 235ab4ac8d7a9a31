#!/usr/bin/env bash
# The completion knows every command and option of the program, and completes them: completion.sh COMPLETION PROGRAM
set -euo pipefail
completion=$1 program=$2
source "$completion"
failures=0

# complete WORD... : what is offered for the last word
offered() {
    COMP_WORDS=(qvrfctl "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _qvrfctl
    printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"}
}

expect() { # NEEDLE WORD...
    local needle=$1
    shift
    if ! offered "$@" | grep -qxF -e "$needle"; then
        echo "'$*' does not offer $needle"
        failures=$((failures + 1))
    fi
}

long_options() { "$@" --help | sed -n '/^Options:/,/^$/p' | grep -oE '^ +(-[a-z],)?--[a-z-]+' | grep -oE -e '--[a-z-]+'; }
subcommands() { "$@" --help | sed -n '/^Subcommands:/,/^$/p' | grep -oE '^  [a-z]+'; }

commands=$(subcommands "$program")
[[ -n $commands ]] || { echo "the program's help lists no commands"; exit 1; }
for option in $(long_options "$program"); do expect "$option" --; done
for command in $commands; do
    expect "$command" ""
    for option in $(long_options "$program" "$command"); do expect "$option" "$command" --; done
done
for command in link user; do
    for verb in $(subcommands "$program" $command); do
        expect "$verb" $command ""
        for option in $(long_options "$program" $command "$verb"); do expect "$option" $command "$verb" --; done
    done
done
expect old --generation o
expect root --address ::1 get --privilege r
expect /redfish/v1/ -v get ""
[[ -z $(offered get --user "") ]] || { echo "a user name is offered"; failures=$((failures + 1)); }
exit $((failures > 0))
