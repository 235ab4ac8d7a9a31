#!/usr/bin/env bash
# See CMakeLists.txt for the environment this is given.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

"$CMAKE" --install "$BUILD" --prefix "$scratch/installed" >"$scratch/log" || { cat "$scratch/log"; fail "cmake --install"; }
prefix=$scratch/moved
mv "$scratch/installed" "$prefix"
libdir=$prefix/$LIBDIR

# ---- What is there ----
[[ $(readlink "$libdir/libqvrfutil.so") == libqvrfutil.so.1 ]] || fail "libqvrfutil.so is not the link for linking"
[[ $(readlink "$libdir/libqvrfutil.so.1") == libqvrfutil.so.1.0.0 ]] || fail "libqvrfutil.so.1 is not the link for loading"
(cd "$prefix/include/qvrfutil" && ls) >"$scratch/headers"
(cd "$BUILD/include/qvrfutil" && ls) | diff - "$scratch/headers" || fail "the installed headers are not the public ones"

# ---- Nothing in it remembers where it was built, installed or found ----
for place in "$SOURCE" "$BUILD" "$scratch/installed"; do
    # As a whole: a checkout at /src is not meant where a document speaks of common/src.
    ! grep -rlE --include='*.pc' --include='*.cmake' --include='*.h' --include='*.md' -- "(^|[^[:alnum:]_.-])$place" "$prefix" ||
        fail "text with an absolute path ($place)"
done
while read -r file; do
    case $(readelf -Wd "$file" 2>/dev/null | sed -n 's/.*R[UN]*PATH).*\[\(.*\)\]/\1/p') in
        "" | '$ORIGIN' | "\$ORIGIN/../$LIBDIR") ;;
        *) readelf -Wd "$file"; fail "$file looks for libraries elsewhere" ;;
    esac
done < <(find "$prefix" -type f \( -name '*.so.*' -o -path '*/bin/*' \))

while IFS=: read -r document link; do
    [[ -e $(dirname "$document")/${link%%#*} ]] || fail "$document leads to $link, which is not installed"
done < <(grep -roE --include='*.md' '\]\([^):#][^):]*\)' "$prefix/share/doc" | sed 's/:\](\(.*\))$/:\1/')

# ---- A caller by pkg-config, in C11 and C++17, and one by find_package ----
export PKG_CONFIG_PATH=$libdir/pkgconfig
[[ $("$PKG_CONFIG" --modversion qvrfutil) == 1.0.0 ]] || fail "pkg-config's version"
unresolved=()
[[ $PLATFORM == reference ]] || unresolved=(-Wl,--unresolved-symbols=ignore-all)
read -ra sanitizers <<<"${SANITIZE-}"
flags=(-Wall -Wextra -Wpedantic -Werror "${sanitizers[@]}" "${unresolved[@]}")
read -ra found <<<"$("$PKG_CONFIG" --cflags --libs qvrfutil)"
"$CC" -std=c11 "${flags[@]}" "$here/agent.c" -o "$scratch/agent-c" "${found[@]}"
"$CXX" -std=c++17 -x c++ "${flags[@]}" "$here/agent.c" -x none -o "$scratch/agent-cpp" "${found[@]}"

mkdir "$scratch/consumer"
cp "$here/agent.c" "$scratch/consumer/"
cp "$here/consumer.cmake" "$scratch/consumer/CMakeLists.txt"
"$CMAKE" -S "$scratch/consumer" -B "$scratch/consumer/build" -G "$GENERATOR" -DCMAKE_C_COMPILER="$CC" \
    -DCMAKE_C_FLAGS="${SANITIZE:-}" -DCMAKE_PREFIX_PATH="$prefix" >"$scratch/log" &&
    "$CMAKE" --build "$scratch/consumer/build" >>"$scratch/log" || { cat "$scratch/log"; fail "find_package(qvrfutil)"; }

# ---- They run ----
if [[ $PLATFORM != reference ]]; then
    echo "built, not run: without the reference platform a program of the host would bring the platform libraries"
    exit
fi
export LD_LIBRARY_PATH=$libdir
for agent in "$scratch/agent-c" "$scratch/agent-cpp" "$scratch/consumer/build/agent"; do
    said=$("$agent") || fail "$agent ended with $?"
    [[ $said == "endpoint 169.254.1.1:443 session -1" ]] || fail "$agent said: $said"
done
unset LD_LIBRARY_PATH

# ---- The programs find their libraries where they are ----
for program in qvoxa-sync qvrfctl torvosim; do
    [[ -x $prefix/bin/$program ]] || fail "$program is not installed"
done
for program in "$prefix"/bin/*; do
    ! ldd "$program" | grep 'not found' || fail "$program misses a library"
    "$program" --help >"$scratch/log" || fail "$program --help ended with $?"
done
