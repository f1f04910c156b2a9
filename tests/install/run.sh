#!/usr/bin/env bash
# Installs the library into a fresh folder, builds two hosts against that folder alone, one in C
# with pkg-config's flags and one in C++ with find_package, and runs them.
# usage: run.sh BUILD_DIR VERSION THORVG
# THORVG is where the library has it from: system, private (it comes along) or none.
set -euo pipefail
build=$(cd "$1" && pwd)
version=$2
thorvg=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

step() { echo "== $*"; }
fail() {
    echo "install: $*" >&2
    exit 1
}

step "install"
cmake --install "$build" --prefix "$prefix" >"$work/install.log" || fail "cmake --install failed"
find "$prefix" -xtype l | grep . && fail "the links above point nowhere"
# Symlinks would be fine in the build folder and dead on another machine.
find "$prefix/include" -type l | grep . && fail "the headers above were installed as links"

pc=$(find "$prefix" -name quolsdk.pc)
[[ -n $pc ]] || fail "no quolsdk.pc"
export PKG_CONFIG_PATH=${pc%/*}
libdir=$(pkg-config --variable=libdir quolsdk)
soname=$(readelf -d "$libdir/libquolsdk.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ $soname == "libquolsdk.so.${version%%.*}" ]] || fail "soname is '$soname'"
[[ -e $libdir/$soname ]] || fail "no $soname beside libquolsdk.so"

step "C host with pkg-config"
[[ $(pkg-config --modversion quolsdk) == "$version" ]] || fail "quolsdk.pc has another version"
read -ra flags < <(pkg-config --cflags --libs quolsdk)
"${CC:-cc}" -std=c99 -Wall -Wextra -Werror -pedantic "$here/host.c" -o "$work/host_c" "${flags[@]}"
LD_LIBRARY_PATH=$libdir "$work/host_c"

step "the example hosts in C with pkg-config"
examples="$here/../../examples"
# One of them feeds a replay, which is done by the classes.
"${CXX:-c++}" -std=c++20 -Wall -Wextra -Werror -c "$examples/replay_feed.cpp" \
    -o "$work/replay_feed.o" $(pkg-config --cflags quolsdk)
for source in "$examples"/*_host.c; do
    "${CC:-cc}" -std=c99 -Wall -Wextra -Werror "$source" "$examples/host_help.c" \
        "$work/replay_feed.o" -o "$work/example" "${flags[@]}"
    echo "${source##*/} builds"
done

step "C++ host with find_package"
cmake -S "$here/cpp_host" -B "$work/cpp_host" -DCMAKE_PREFIX_PATH="$prefix" \
    -DQUOLSDK_WANTED_VERSION="$version" >"$work/configure.log" || {
    cat "$work/configure.log"
    fail "find_package failed"
}
cmake --build "$work/cpp_host" >"$work/build.log" || {
    cat "$work/build.log"
    fail "the C++ host does not build"
}
"$work/cpp_host/host"

step "run paths"
# The library's own folder beside it, and no other: none of the build folder, and no empty entry,
# which is the working folder.
while read -r file; do
    path=$(readelf -d "$file" 2>/dev/null | sed -n 's/.*(R[UN]*PATH).*\[\(.*\)\]/\1/p')
    case ${file##*/} in
    libquolsdk.so.*) wanted='$ORIGIN/quolsdk' ;;
    libquolsdk_*.so) wanted='' ;;
    _quolsdk*.so) # Python's module lies elsewhere, and knows where the library is
        [[ $path == '$ORIGIN/'* && ${file%/*}/${path#*/} -ef $libdir ]] && continue || wanted="to $libdir" ;;
    *) [[ -z $path || $path == '$ORIGIN' ]] && continue || wanted='$ORIGIN' ;;
    esac
    [[ $path == "$wanted" ]] || fail "${file##*/} has the run path '$path'"
done < <(find "$prefix" -name '*.so*' -type f)
path=$(readelf -d "$build/lib/libquolsdk.so" | sed -n 's/.*(R[UN]*PATH).*\[\(.*\)\]/\1/p')
[[ $path == '$ORIGIN/quolsdk' ]] || fail "in the build folder the library has the run path '$path'"

step "previews of toolkits"
"${CC:-cc}" -std=c99 -Wall -Wextra -Werror "$here/preview_host.c" -o "$work/preview_host" \
    "${flags[@]}"
for toolkit in qt gtk; do
    plugin=$libdir/quolsdk/libquolsdk_$toolkit.so
    [[ -e $build/plugins/${plugin##*/} ]] || continue
    # The loader knows the library and nothing else of what is installed.
    found=$(cd "$work" && LD_LIBRARY_PATH= LD_PRELOAD=$libdir/$soname "$work/preview_host" $toolkit) ||
        fail "the preview for $toolkit is not found"
    [[ $found == "$(realpath "$plugin")" ]] || fail "the preview for $toolkit is '$found'"
    echo "$toolkit: ${plugin##*/}"
done

step "ThorVG ($thorvg)"
# Of the loader's own answer: where is it found, for this library, by nothing but what is installed?
thorvg_of() { env -u LD_LIBRARY_PATH ldd "$1" | sed -n 's/.*libthorvg-1\.so\.[0-9]* => \([^ ]*\).*/\1/p'; }
for file in "$PKG_CONFIG_PATH"/quolsdk.pc "${PKG_CONFIG_PATH%/pkgconfig}"/cmake/quolsdk/*.cmake; do
    grep -i thorvg "$file" && fail "a host would have to have ThorVG: ${file##*/}"
done
found=$(thorvg_of "$libdir/libquolsdk.so")
case $thorvg in
private)
    [[ $found == "$libdir"/quolsdk/libthorvg-1.so.* ]] || fail "ThorVG is taken from '$found'"
    # A host that resolves every name at its start, and then the folder elsewhere.
    LD_BIND_NOW=1 "$work/cpp_host/host"
    mv "$prefix" "$work/moved"
    libdir=$work/moved${libdir#"$prefix"}
    found=$(thorvg_of "$libdir/libquolsdk.so")
    [[ $found == "$libdir"/quolsdk/libthorvg-1.so.* ]] || fail "after a move ThorVG is taken from '$found'"
    LD_BIND_NOW=1 LD_LIBRARY_PATH=$libdir "$work/host_c"
    ;;
system)
    [[ -n $found && $found != "$prefix"/* ]] || fail "ThorVG is taken from '$found'"
    ;;
none)
    [[ -z $found ]] || fail "a library without Lottie loads ThorVG from $found"
    ;;
*)
    fail "what is '$thorvg'?"
    ;;
esac
