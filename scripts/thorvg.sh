#!/usr/bin/env bash
# Sees to it that there is a ThorVG, which draws Lottie templates.
#
#   scripts/thorvg.sh [PREFIX]
#
# Nothing to do where pkg-config knows one. Debian has it as a package since the suite after
# Debian 13; on older systems that package is unpacked into a prefix of our own, build/thorvg, and
# made to fit an older C library. apt works in a private folder all the while: nothing of the system
# is read but its configuration, nothing of it is changed, and root is not needed.
#
# Without a network there is a line about it and no error: the library is built without Lottie then.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/scripts/private-apt.sh"
parts=$root/scripts/thorvg
prefix=${1:-$root/build/thorvg}
suites=(forky sid) # the first that has it

pkg-config --exists thorvg-1 && exit 0
[[ -e $prefix/lib/pkgconfig/thorvg-1.pc ]] && exit 0

exec 3>&2 # what the user reads, when the rest goes to the log

without() {
    trap - ERR
    echo "thorvg: $*; without it the library is built without Lottie templates" >&3
    exit 0
}

for tool in apt-get dpkg-deb patchelf python3; do
    command -v "$tool" >/dev/null || without "no $tool to get it with"
done

mkdir -p "$(dirname "$prefix")"
prefix=$(cd "$(dirname "$prefix")" && pwd)/$(basename "$prefix")
log=$prefix.log
work=$(mktemp -d "$prefix.XXXXXX") # beside the prefix, to be moved there in one step
trap 'rm -rf "$work"' EXIT
exec >"$log" 2>&1
trap 'without "setting it up failed (see $log)"' ERR

# ------------------------------------------------------------------------------------ packages
# The two packages of one suite into the folder $work/debs.
download() {
    local suite=$1
    local apt=$work/apt-$suite
    local list="" folder=""
    private_apt "$apt"
    private_apt_sources "$apt"
    # The machine's own list stays where apt-config says it is.
    eval "$(apt-config shell list Dir::Etc::sourcelist/f folder Dir::Etc::sourceparts/d)"
    python3 "$parts/sources.py" "$suite" "$list" "$folder" "$apt/sources" || return 1
    # One source of several may not have the suite; what counts is whether the packages are there.
    apt-get -c "$apt/apt.conf" update || true
    rm -rf "$work/debs" && mkdir "$work/debs"
    (cd "$work/debs" && apt-get -c "$apt/apt.conf" download libthorvg1 libthorvg-dev)
}

for suite in "${suites[@]}"; do
    echo "== $suite"
    echo "thorvg: getting the packages libthorvg1 and libthorvg-dev of $suite" >&3
    if download "$suite"; then
        found=$suite
        break
    fi
done
[[ -n ${found:-} ]] || without "no package of it could be had (see $log)"

# -------------------------------------------------------------------------------------- prefix
# include/ and lib/ with nothing between, and a thorvg-1.pc that finds its prefix from its place.
for package in "$work"/debs/*.deb; do
    dpkg-deb -x "$package" "$work/unpacked"
done
made=$work/made
mkdir -p "$made/lib/pkgconfig"
usr=$work/unpacked/usr
library=$(find "$usr/lib" -name 'libthorvg-1.so.1' | head -n 1)
soname=libthorvg-1.so.1
cp -r "$usr/include" "$made/include"
cp -L "$library" "$made/lib/$soname"
chmod 755 "$made/lib/$soname"
ln -s "$soname" "$made/lib/libthorvg-1.so"
cp "$usr/share/doc/libthorvg1/copyright" "$made/copyright"
sed -e 's|^prefix=.*|prefix=${pcfiledir}/../..|' -e 's|^libdir=.*|libdir=${prefix}/lib|' \
    "$(find "$usr/lib" -name thorvg-1.pc)" >"$made/lib/pkgconfig/thorvg-1.pc"

# ------------------------------------------------------------------------------------- C library
# Does the loader find everything that it asks for, every name and every version?
usable() {
    local report
    report=$(LC_ALL=C ldd -r "$made/lib/$soname" 2>&1) || true
    echo "$report"
    ! grep -qE 'not found|undefined symbol|symbol lookup error' <<<"$report"
}

if ! usable; then
    echo "== fitting it to this C library"
    "$parts/old-glibc.sh" "$made/lib" "$soname" || true
    usable || without "its package does not fit this system (see $log)"
fi

rm -rf "$prefix"
mv -T "$made" "$prefix"
echo "thorvg: $(sed -n 's/^Version: *//p' "$prefix/lib/pkgconfig/thorvg-1.pc") in $prefix" >&3
