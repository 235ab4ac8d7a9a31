#!/usr/bin/env bash
# docs.sh CHECK, one of the functions below; see CMakeLists.txt for the environment it is given.
set -euo pipefail
cd "$SOURCE"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
documents=(*.md docs/*.md bench/*.md)
bad=0
wrong() { bad=1 && echo "$*"; }
# blocks LANGUAGE FILE: the fenced blocks of that language, a file each, numbered as they come
blocks() {
    rm -f "$work/${2//\//-}".[0-9]*
    awk -v begin="^\`\`\`$1\$" -v out="$work/${2//\//-}" '
        /^```$/ && on { on = 0; close(name) }
        on { print > name }
        $0 ~ begin { on = 1; name = sprintf("%s.%02d", out, ++n) }' "$2"
    find "$work" -name "${2//\//-}.[0-9]*" | sort
}

# A relative link leads to a file that is there.
links() {
    for document in "${documents[@]}"; do
        while read -r link; do
            [[ -e $(dirname "$document")/${link%%#*} ]] || wrong "$document: no ${link%%#*}"
        done < <(grep -oE '\]\([^):]+\)' "$document" | sed 's/^](\(.*\))$/\1/; s/^#.*/./')
    done
}

# The manuals have nothing that a formatter complains of; 77 where there is none.
pages() {
    command -v man >/dev/null || { echo "skipped: man is not installed" && exit 77; }
    for page in docs/*.[35] programs/*/*.1; do
        said=$(MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 "$page" 2>&1 >/dev/null) && [[ -z $said ]] || wrong "$page: $said"
    done
}

# C and C++ compile; a fragment that is no function does so inside one.
snippets() {
    local count=0 header headers=()
    { echo '```c' && sed -n '/^\.EX/,/^\.EE/{s/\\e/\\/g;/^\./!p}' docs/qvrfutil.3 && echo '```'; } >"$work/page" && documents+=("$work/page")
    for header in "$INCLUDE"/*.h; do headers+=(-include "$header"); done
    for document in "${documents[@]}"; do
        for language in c cpp; do
            for block in $(blocks $language "$document"); do
                count=$((count + 1)) compiler=("$CC" -std=c11 -x c) && [[ $language == c ]] || compiler=("$CXX" -std=c++17 -x c++)
                grep -qE '^(try )?\{' "$block" || sed -i -e '1i void f(void);\nvoid f(void) {' -e '$a }' "$block"
                "${compiler[@]}" -Wall -Wextra -Wno-unused -fsyntax-only -I "$INCLUDE" "${headers[@]}" "$block" || wrong "$document: $block does not compile"
            done
        done
    done
    [[ $count -gt 2 ]] || wrong "only $count snippets were found"
}

# What a program says of itself, of each of its commands too.
help_of() {
    "$@" --help
    "$@" --help | awk '/^Subcommands/ { on = 1; next } !NF { on = 0 } on && /^  [a-z]/ { print $1 }' | while read -r command; do help_of "$@" "$command"; done
}

# A program knows every option that a line with its name shows; manual and completion know every option of the program.
options() {
    for program in qvrfctl qvoxa-sync torvosim; do
        known=$(help_of "$BUILD/bin/$program" </dev/null | grep -oE -- '--[a-z][a-z-]+' | sort -u)
        [[ $(wc -w <<<"$known") -gt 5 ]] || wrong "$program tells only the options $known"
        while read -r option; do
            grep -qxF -e "$option" <<<"$known" || wrong "$program has no $option"
        done < <(sed 's/\\-/-/g' "${documents[@]}" programs/*/*.1 | grep -hE "^(    (.* )?|)$program " | grep -oE "$program [^|&;#]*" | grep -oE '(^| )--[a-z][a-z-]+' | tr -d ' ' | sort -u)
        for file in programs/*/"$program".{1,bash}; do
            text=$(sed 's/\\-/-/g' "$file")
            for option in $known; do grep -qE -e "$option([^a-z-]|\$)" <<<"$text" || wrong "$file lacks $option"; done
        done
    done
}

# Nothing that a program says of itself, and no line of a manual, is wider than a terminal.
columns() {
    for program in qvrfctl qvoxa-sync torvosim; do
        while read -r line; do wrong "$program --help: $line"; done < <(help_of "$BUILD/bin/$program" </dev/null | grep -E '.{81}')
    done
    command -v man >/dev/null || return 0
    for page in docs/*.[35] programs/*/*.1; do
        while read -r line; do wrong "$page: $line"; done < <(MANWIDTH=80 man -E UTF-8 -l -Tutf8 "$page" 2>/dev/null | col -b | grep -E '.{81}')
    done
}

# A script that is named is there, and has the options that are shown; so are the presets.
scripts() {
    while read -r script shown; do
        [[ -x $script ]] || wrong "no $script"
        for option in $(grep -oE -- '(^| )--[a-z-]+' <<<"$shown"); do grep -qE -e "$option\b" "$script" || wrong "$script has no $option"; done
    done < <(grep -ohE '(scripts|bench|\.ci)/[a-z-]+( [^|&;#`]*)?' "${documents[@]}" | grep -vE '^bench/[a-z]+_bench' | sort -u)
    while read -r preset; do
        grep -qF "\"name\": \"$preset\"" CMakePresets.json || wrong "no preset $preset"
    done < <(grep -ohE -- '--preset [a-z-]+' "${documents[@]}" | sed 's/.* //' | sort -u)
}

# Blocks of "sh run" are run, those of a document in one shell, in a directory with this build as build/release;
# what a block of "said" shows has been said then.
sessions() {
    for document in "${documents[@]}"; do
        readarray -t found < <(blocks "sh run" "$document")
        [[ ${#found[@]} -gt 0 ]] || continue
        rm -rf "${work:?}/home" && mkdir -p "$work/home/build" && ln -s "$SOURCE"/* "$work/home/" 2>/dev/null || true
        ln -s "$BUILD" "$work/home/build/release"
        # The build is there already; whatever runs in the background ends with the shell.
        { echo "trap 'jobs -p | xargs -r kill' EXIT; cmake() { [[ \$1 != --preset && \$2 != --preset ]] || return 0; command cmake \"\$@\"; }"
            cat "${found[@]}"; } >"$work/session"
        mkdir -p "$work/bin" && ln -sf "$(command -v "$CC")" "$work/bin/cc" && ln -sf "$(command -v "$CXX")" "$work/bin/c++"
        (cd "$work/home" && HOME=$work/home PATH=$work/bin:$BUILD/bin:$PATH CFLAGS=${SANITIZE-} bash -euxo pipefail "$work/session") \
            >"$work/log" 2>&1 || { cat "$work/log"; wrong "$document: a command failed"; }
        for block in $(blocks said "$document"); do
            while IFS= read -r line; do grep -qxF -e "$line" "$work/log" || wrong "$document: nobody said: $line"; done <"$block"
        done
    done
}

# Blocks of "sh server" are run as on a server, with the BMC behind a link of its own; 77 where that cannot be had.
server() {
    local document block
    scripts/netns-sandbox --bin "$BUILD/bin" --check || exit 77
    for document in "${documents[@]}"; do
        for block in $(blocks "sh server" "$document"); do
            # One that makes the link itself needs nothing but a network of its own.
            place=(scripts/netns-sandbox --bin "$BUILD/bin" --) && ! grep -q -e --netns "$block" || place=(unshare --net --mount)
            sed -i '1i trap "jobs -p | xargs -r kill" EXIT' "$block"
            (PATH=$BUILD/bin:$PATH "${place[@]}" bash -euxo pipefail -c "cd '$work' && . '$block'") >"$work/log" 2>&1 || { cat "$work/log"; wrong "$document: a command failed"; }
        done
    done
}

# A program's command is shown where it is run, in a block; what stands indented is the tree's own scripts, which CI runs.
commands() {
    for document in "${documents[@]}"; do
        while read -r line; do
            wrong "$document: not in a block that is run: $line"
        done < <(grep -nE '^    ([A-Z_]+=[^ ]* )*(sudo )?(qvrfctl|qvoxa-sync|torvosim|curl|ip) [^[]*$' "$document")
    done
}

"$1"
exit $bad
