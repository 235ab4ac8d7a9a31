#!/usr/bin/env bash
# exports.sh CHECK, one of the functions below; see CMakeLists.txt for the environment it is given.
set -euo pipefail
export LC_ALL=C

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

promised() {
    sed -e 's/#.*//; s#/\*.*\*/##' "$VERSION_SCRIPT" | tr -s ' \n\t' '\n' | awk '/^global:$/ { on = 1; next } /^local:$/ { on = 0 } on' |
        tr -d ';' | grep . | sort
}

contract() {
    grep -hoE '\b(SM[A-Z]\w*|SMqvoxa\w+|QVHIPM\w+|BMCUser\w+|OSVerify\w+|__SysDbgPrint[34])\(' "$CONTRACT"/*.h | tr -d '(' | sort -u
}

# The library exports what the version script names, under its version, and nothing else but a sanitizer's runtime.
symbols() {
    promised | sed "s/\$/${VERSION-@@QVRFUTIL_1}/" >"$scratch/promised"
    nm -D --defined-only "$LIBRARY" |
        awk '$2 != "A" && $3 !~ /^__(asan|ubsan|odr_asan|gcov|tsan)/ { print $3 }' | sort >"$scratch/exported"
    diff -u --label promised --label exported "$scratch/promised" "$scratch/exported"
}

# Each symbol of the contract is asked of the dynamic linker, unversioned, so that any library may provide it.
platform() {
    contract >"$scratch/contract"
    [[ $(wc -l <"$scratch/contract") -ge 20 ]] || { echo "the contract's headers could not be read"; exit 1; }
    nm -D "$LIBRARY" | awk '$1 == "U" { print $2 }' | sort >"$scratch/undefined"
    local not_asked
    not_asked=$(comm -23 "$scratch/contract" "$scratch/undefined")
    [[ -z $not_asked ]] || { printf 'not an ordinary undefined symbol:\n%s\n' "$not_asked"; exit 1; }
}

# The name that programs record, and how the library binds.
dynamic() {
    readelf -Wd "$LIBRARY" >"$scratch/dynamic"
    grep -q 'SONAME.*\[libqvrfutil\.so\.1\]' "$scratch/dynamic" || { echo "SONAME is not libqvrfutil.so.1"; exit 1; }
    ! grep -E 'SYMBOLIC|TEXTREL' "$scratch/dynamic" || { echo "the library binds its own symbols"; exit 1; }
    if [[ $PLATFORM == none ]]; then
        ! grep -E 'NEEDED.*(qvsupport|qvhipm|qvsecure)' "$scratch/dynamic" || { echo "links a platform library"; exit 1; }
    fi
}

# What an optimised build is hardened with; TEXTREL is looked for above, and where it is installed a path to libraries.
hardened() {
    { readelf -Wdl "$LIBRARY" && nm -D "$LIBRARY" && objdump -d --disassemble=QVRFUTILInit "$LIBRARY"; } >"$scratch/all"
    for part in BIND_NOW GNU_RELRO 'GNU_STACK .* RW ' __stack_chk_fail __memcpy_chk 'endbr64|paciasp|bti'; do
        grep -qE "$part" "$scratch/all" || { echo "no $part"; exit 1; }
    done
}

# A C11 program that includes every public header can name every export, and finds each when it runs.
addresses() {
    {
        for header in "$INCLUDE"/*.h; do echo "#include \"${header##*/}\""; done
        echo 'int main(void) {'
        echo '    const uintptr_t addresses[] = {'
        promised | sed 's/.*/        (uintptr_t)\&&,/'
        echo '    };'
        echo '    for (size_t i = 0; i < sizeof addresses / sizeof *addresses; ++i) if (addresses[i] == 0) return 1;'
        echo '    return 0;'
        echo '}'
    } >"$scratch/addresses.c"
    local directory unresolved=()
    directory=$(dirname "$LIBRARY")
    [[ $PLATFORM == reference ]] || unresolved=(-Wl,--unresolved-symbols=ignore-in-shared-libs)
    "$CC" -std=c11 -Wall -Wextra -Wpedantic -Wno-address -Werror ${SANITIZE:-} -I "$INCLUDE" "$scratch/addresses.c" \
        -o "$scratch/addresses" -L "$directory" "-Wl,-rpath,$directory" "${unresolved[@]}" -lqvrfutil
    [[ $PLATFORM != reference ]] || "$scratch/addresses"
}

"$1"
