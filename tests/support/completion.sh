#!/usr/bin/env bash
# The completion knows every command and option of the program, and what follows them: completion.sh COMPLETION PROGRAM
set -euo pipefail
completion=$1 program=$2 name=${2##*/}
source "$completion"
failures=0 asked=0
wrong() { echo "$*"; failures=$((failures + 1)); }

# offered WORD... : leaves what is offered for the last word in $COMPREPLY. The function is called as the shell would:
# no shell is asked to answer, and nothing depends on how long one takes.
offered() { COMP_WORDS=("$name" "$@") COMP_CWORD=$# COMPREPLY=() && "_${name//-/_}"; }
is_offered() { offered "${@:2}" && [[ " ${COMPREPLY[*]-} " == *" $1 "* ]]; }
# expect NEEDLE WORD... and refuse NEEDLE WORD...
expect() { asked=$((asked + 1)) && is_offered "$@" || wrong "'${*:2}' does not offer $1, but: ${COMPREPLY[*]-}"; }
refuse() { ! is_offered "$@" || wrong "'${*:2}' offers $1"; }
nothing() { offered "$@" && [[ ${#COMPREPLY[@]} -eq 0 ]] || wrong "'$*' offers ${COMPREPLY[*]-}"; }

long_options() { grep -oE -e '^ +(-[a-z],)?--[a-z-]+' <<<"$1" | grep -oE -e '--[a-z-]+'; }
subcommands() { sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\).*/\1/p' <<<"$1"; }

# knows WORD... : all that the program's help names behind these words, and behind each of its commands
knows() {
    local help option command
    help=$("$program" "$@" --help)
    for option in $(long_options "$help"); do expect "$option" "$@" --; done
    for command in $(subcommands "$help"); do expect "$command" "$@" "" && knows "$@" "$command"; done
}
knows
[[ $asked -gt 8 ]] || wrong "the program's help names hardly anything"

if [[ $name == qvrfctl ]]; then
    expect auto --generation a
    expect root --address ::1 get --privilege r
    expect /redfish/v1/ -v get ""
    expect doctor ""
    nothing get --user ""
    qvrfctl() { [[ $* == "tree /redfish/v1 --depth 1 --timeout 3 --user op" ]] && echo /redfish/v1/Systems; }
    expect /redfish/v1/Systems --user op get /redfish/v1/S
else
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    mkdir "$scratch/downloads"
    touch "$scratch/document"
    expect "$scratch/downloads" --download "$scratch/do"
    refuse "$scratch/document" --download "$scratch/do"
    nothing --install-args ""
    expect --install-args --silent --
    refuse --download --silent --
    refuse --silent --version-report --
    expect --exit-code --
fi
# The other shells ask the same function, from where it is installed.
installed=$(mktemp -d) && mkdir -p "$installed"/{bash-completion/completions,fish/x,zsh/x} && trap 'rm -rf "$installed" "${scratch-}"' EXIT
ln -s "$(realpath "$completion")" "$installed/bash-completion/completions/$name" && cp "$3/$name.fish" "$installed/fish/x/" && cp "$3/_$name" "$installed/zsh/x/"
shown() { [[ -z $(type -P "$1") || $("$@" 2>&1) == *--version* ]] || wrong "$1 does not offer --version"; }
shown fish --no-config -c "source $installed/fish/x/$name.fish; complete -C '$name --ver'"
shown zsh -fc "autoload -Uz compinit && compinit -D -u; source $installed/zsh/x/_$name; functions _${name//-/_}"
exit $((failures > 0))
