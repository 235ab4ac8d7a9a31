#!/usr/bin/env bash
# The completion knows every option of the program, and what follows it: completion.sh COMPLETION PROGRAM
set -euo pipefail
completion=$1 program=$2
source "$completion"
failures=0

# offered WORD... : what is offered for the last word
offered() {
    COMP_WORDS=(qvoxa-sync "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _qvoxa_sync
    printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"}
}
wrong() { echo "$*"; failures=$((failures + 1)); }
# expect NEEDLE WORD... and refuse NEEDLE WORD... : is it offered, is it not?
expect() { offered "${@:2}" | grep -xF -e "$1" >/dev/null || wrong "'${*:2}' does not offer $1"; }
refuse() { ! offered "${@:2}" | grep -xF -e "$1" >/dev/null || wrong "'${*:2}' offers $1"; }

options=$("$program" --help | sed -n '/^Options:/,/^$/p' | grep -oE -e '^ +(-[a-z],)?--[a-z-]+' | grep -oE -e '--[a-z-]+')
[[ -n $options ]] || { echo "the program's help lists no options"; exit 1; }
for option in $options; do expect "$option" --; done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/downloads"
touch "$scratch/document"
expect "$scratch/downloads" --download "$scratch/do"
refuse "$scratch/document" --download "$scratch/do"
[[ -z $(offered --install-args "") ]] || wrong "arguments of an installer are offered"
expect --install-args --silent --
refuse --download --silent --
refuse --silent --version-report --
exit $((failures > 0))
