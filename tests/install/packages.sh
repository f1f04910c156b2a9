#!/usr/bin/env bash
# Makes the Debian packages of a build folder and looks into them: who depends on whom, what lies
# where, what goes with it. Whether they work on a fresh system: scripts/checks/packages.sh.
# usage: packages.sh BUILD_DIR VERSION THORVG
# THORVG is where the library has it from: system, private (it comes along) or none.
set -euo pipefail
build=$(cd "$1" && pwd)
version=$2
thorvg=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

step() { echo "== $*"; }
fail() {
    echo "packages: $*" >&2
    exit 1
}

step "cpack"
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work" >"$work/log" 2>&1 || {
    cat "$work/log"
    fail "cpack failed"
}
grep -i "warning" "$work/log" && fail "cpack warns"

package_of() { find "$work" -maxdepth 1 -name "$1_*.deb"; }
field() { dpkg-deb -f "$(package_of "$1")" "$2"; }
# Where a package is unpacked.
there() { echo "$work/root/$1"; }

packages=(libquolsdk"${version%%.*}" libquolsdk-dev quolsdk-examples)
for toolkit in qt gtk; do
    [[ -e $build/plugins/libquolsdk_$toolkit.so ]] && packages+=("quolsdk-preview-$toolkit")
done
[[ $(find "$work" -maxdepth 1 -name '*.deb' | wc -l) == "${#packages[@]}" ]] ||
    fail "these packages were made: $(cd "$work" && echo ./*.deb)"
runtime=${packages[0]}

for package in "${packages[@]}"; do
    step "$package"
    [[ -n $(package_of "$package") ]] || fail "was not made"
    mkdir -p "$work/root"
    dpkg-deb -x "$(package_of "$package")" "$(there "$package")"
    full=$(field "$package" Version)
    [[ $full == "$version" || $full == "$version"[+~]* ]] || fail "is of version $full"
    for name in Maintainer Section Description Architecture Installed-Size; do
        [[ -n $(field "$package" $name) ]] || fail "has no $name"
    done
    [[ $(field "$package" Description | wc -l) -gt 3 ]] || fail "is described by one line"

    doc=$(there "$package")/usr/share/doc/$package
    [[ -s $doc/copyright ]] || fail "has no copyright"
    gzip -dc "$doc/changelog.gz" >"$work/changelog" || fail "has no change list"
    [[ $(dpkg-parsechangelog -l "$work/changelog" -S Version) == "$full" ]] ||
        fail "has a change list of another version"
    find "$(there "$package")" -type f ! -path '*/usr/*' | grep . && fail "has files elsewhere"
    find "$(there "$package")" -type d ! -perm 755 | grep . && fail "has folders like those above"

    # Where the parts of a package are looked for is where packages put them.
    while read -r file; do
        path=$({ readelf -d "$file" 2>/dev/null || true; } |
            sed -n 's/.*(R[UN]*PATH).*\[\(.*\)\]/\1/p')
        [[ :$path: != *:[!\$]*:* && ($path == "" || ":$path:" != *::*) ]] ||
            fail "${file##*/} has the run path '$path'"
    done < <(find "$(there "$package")" -type f)
    [[ $package == "$runtime" ]] && continue
    [[ ", $(field "$package" Depends)," == *", $runtime (= $full),"* ]] ||
        fail "does not depend on the library of its own build"
done

has() { [[ -n $(find "$(there "$1")" -path "$(there "$1")/usr/$2") ]]; }
step "what lies where"
depends=$(field "$runtime" Depends)
[[ $depends == *libavformat* && $depends == *libcairo2* ]] || fail "$runtime depends on '$depends'"
[[ ! $depends =~ [qQ]t|gtk ]] || fail "$runtime draws a toolkit in: '$depends'"
has "$runtime" "lib/*libquolsdk.so.$version" || fail "$runtime has no library"
has "$runtime" "lib/*libquolsdk.so" && fail "$runtime has the link for the linker"
has libquolsdk-dev "lib/*libquolsdk.so" || fail "libquolsdk-dev has no link for the linker"
has libquolsdk-dev "lib/*/pkgconfig/quolsdk.pc" || has libquolsdk-dev "lib/pkgconfig/quolsdk.pc" ||
    fail "libquolsdk-dev has no quolsdk.pc"
has libquolsdk-dev "lib/*/quolsdk-config.cmake" || fail "libquolsdk-dev has no CMake package"
diff <(cd "$build/include/quolsdk" && ls) \
    <(cd "$(there libquolsdk-dev)/usr/include/quolsdk" && ls) || fail "not all headers are there"
for toolkit in qt gtk; do
    package=quolsdk-preview-$toolkit
    [[ " ${packages[*]} " == *" $package "* ]] || continue
    has $package "lib/*quolsdk/libquolsdk_$toolkit.so" || fail "$package has no plug-in"
    grep -qiE "lib(qt6|gtk-4)" <<<"$(field $package Depends)" || fail "$package needs no toolkit"
done
dpkg-deb -e "$(package_of "$runtime")" "$work/control"
[[ $(cut -d ' ' -f 1-3 "$work/control/shlibs") == "libquolsdk ${version%%.*} $runtime" ]] ||
    fail "$runtime tells those that link with it '$(cat "$work/control/shlibs")'"
grep -qx "activate-noawait ldconfig" "$work/control/triggers" || fail "the loader is not told"
case $thorvg in
private)
    has "$runtime" "lib/*quolsdk/libthorvg-1.so.1" || fail "no ThorVG in the library's own folder"
    has "$runtime" "share/doc/$runtime/ThorVG.copyright" || fail "ThorVG goes without its notice"
    [[ $depends != *thorvg* ]] || fail "$runtime needs a ThorVG of the system: '$depends'"
    ;;
*) has "$runtime" "lib/*thorvg*" && fail "a ThorVG comes along" ;;
esac

step "programs and their pages"
diff <(cd "$(there quolsdk-examples)/usr/bin" && printf '%s.1.gz\n' *) \
    <(cd "$(there quolsdk-examples)/usr/share/man/man1" && ls) || fail "not one page for each"
