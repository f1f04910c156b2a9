#!/usr/bin/env bash
# Do the Debian packages install and work on a fresh system, with no source tree in sight?
#
#   scripts/checks/packages.sh SUITE FOLDER [PACKAGES]
#
# SUITE is bookworm or trixie. PACKAGES is a folder with packages that were made before; without it
# they are made first, in a fresh root from a clone of what is committed here, which tries the whole
# set-up as well. FOLDER gets the roots, SUITE-base, SUITE-build and SUITE-try; the first two are
# kept for the next time, and the packages in SUITE-packages.
#
# Needs root, debootstrap and the Debian mirror that apt is configured with (or MIRROR=...). Nothing
# outside FOLDER is changed. What is mounted is seen by the processes in the roots only and goes with
# them; programs of the library run without a network.
set -euo pipefail

[[ $# == 2 || $# == 3 ]] || {
    sed -n '2,/^set/{s/^# \{0,1\}//;/^set/d;p}' "$0" >&2
    exit 2
}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
suite=$1
mkdir -p "$2"
folder=$(cd "$2" && pwd)
packages=${3:-}
mirror=${MIRROR:-$(apt-get indextargets --format '$(REPO_URI)' 'Label: Debian' | head -n 1)}

step() { echo "== $*"; }
fail() {
    echo "packages: $*" >&2
    exit 1
}
((EUID == 0)) || fail "needs root"
command -v debootstrap >/dev/null || fail "needs debootstrap"

# inside ROOT [--net] COMMAND: as root in there, with processes and mounts of its own, with --net
# also a network of its own, which is the loopback alone.
inside() {
    local there=$1 command=${*: -1}
    unshare --mount --pid --fork --kill-child ${3:+--net} bash -euc '
        mount --make-rprivate /
        mount -t proc proc "$0/proc"
        mount --rbind /dev "$0/dev"
        mount -t tmpfs tmpfs "$0/dev/shm"
        [[ -z $2 ]] || ip link set lo up
        exec chroot "$0" env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
            DEBIAN_FRONTEND=noninteractive \
            PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin bash -euo pipefail -c "$1"
    ' "$there" "$command" "${3:+net}"
}

base=$folder/$suite-base
if [[ ! -e $base.done ]]; then
    step "a fresh $suite"
    rm -rf "$base"
    debootstrap --variant=minbase "$suite" "$base" "$mirror" >"$base.log" ||
        fail "debootstrap failed, see $base.log"
    # How this machine reaches the mirror.
    apt-config dump Acquire | grep -E '^Acquire::(https?::Proxy|Check-Valid-Until|Retries) ' \
        >"$base/etc/apt/apt.conf.d/99mirror" || true
    touch "$base.done"
fi
fresh() {
    rm -rf "$1"
    cp -a "$base" "$1"
}

if [[ -z $packages ]]; then
    build=$folder/$suite-build
    [[ -e $build ]] || fresh "$build"
    step "the packages, from a clone"
    rm -rf "$build/repository"
    git clone -q --bare "$root" "$build/repository"
    git -C "$build/repository" update-ref refs/heads/tried "$(git -C "$root" rev-parse HEAD)"
    inside "$build" '
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends git make >/dev/null
        [[ -e /source ]] || git clone -q --no-checkout /repository /source
        cd /source
        git fetch -q /repository tried
        git checkout -q --detach FETCH_HEAD
        make package' >"$build.log" 2>&1 || fail "could not be made, see $build.log"
    packages=$folder/$suite-packages
    rm -rf "$packages"
    cp -r "$build/source/build-package/packages" "$packages"
fi

try=$folder/$suite-try
fresh "$try"
mkdir "$try/packages" "$try/hosts"
cp "$packages"/*.deb "$try/packages/"
cp -r "$root"/tests/install/{host.c,preview_host.c,cpp_host} "$root/examples/first_host.c" "$try/hosts/"
version=$(dpkg-deb -f "$try"/packages/libquolsdk-dev_*.deb Version)
install="apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0"

step "the library alone"
inside "$try" "
    apt-get update -qq
    $install /packages/libquolsdk[0-9]*.deb >/dev/null
    ldd -r /usr/lib/*/libquolsdk.so.? >/tmp/ldd
    ! grep -E 'not found|undefined' /tmp/ldd
    ! dpkg -l | grep -E '^ii *lib(qt6|gtk-4)'"

step "development: pkg-config and CMake"
inside "$try" "$install gcc g++ make cmake pkg-config /packages/libquolsdk-dev_*.deb >/dev/null"
inside "$try" --net "
    mkdir /tmp/built
    cd /tmp/built
    [[ \$(pkg-config --modversion quolsdk) == ${version%%[+~]*} ]]
    for host in host preview_host first_host; do
        cc -std=c99 -Wall -Wextra -Werror /hosts/\$host.c -o \$host \$(pkg-config --cflags --libs quolsdk)
    done
    ./host
    cmake -S /hosts/cpp_host -B cpp_host -DQUOLSDK_WANTED_VERSION=${version%%[+~]*} >/dev/null
    cmake --build cpp_host >/dev/null
    cpp_host/host
    ! readelf -d host cpp_host/host | grep -i 'runpath\|rpath'"

step "previews"
for toolkit in qt gtk; do
    inside "$try" --net "! /tmp/built/preview_host $toolkit >/dev/null 2>&1"
    inside "$try" "$install /packages/quolsdk-preview-${toolkit}_*.deb >/dev/null"
    inside "$try" --net "/tmp/built/preview_host $toolkit"
done

step "programs"
inside "$try" "$install ffmpeg fonts-dejavu-core /packages/quolsdk-examples_*.deb >/dev/null"
inside "$try" --net '
    mkdir /tmp/made
    cd /tmp/made
    ffmpeg -v error -f lavfi -i testsrc2=size=640x360:rate=25 -f lavfi -i sine -t 8 \
        -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac clip.mp4
    /tmp/built/first_host clip.mp4 first.mp4
    quolsdk-player_host clip.mp4 recording.mp4 jumps.mp4 >/dev/null
    quolsdk-contact_sheet recording.mp4 sheet.png >/dev/null
    examples=/usr/share/doc/quolsdk-examples/examples
    quolsdk-title_host clip.mp4 $examples/titles.xml titles.mp4 >/dev/null
    quolsdk-lottie_sheet lottie.png $examples/lowerthird.json
    quolsdk-cg_gallery .
    for program in /usr/bin/quolsdk-*; do
        "$program" --help >/dev/null
        [[ -e /usr/share/man/man1/${program##*/}.1.gz ]]
    done
    for recording in first recording jumps titles; do
        ffprobe -v error -show_entries format=duration -of csv=p=0 $recording.mp4 |
            awk -v name=$recording "{ print name \": \" \$1 \" s\"; exit !(\$1 > 4) }"
    done'

step "gone again"
inside "$try" '
    apt-get purge -y -qq "libquolsdk*" "quolsdk-*" >/dev/null
    ! find / -xdev -name "*quolsdk*" ! -path "/packages/*" ! -path "/hosts/*" ! -path "/tmp/*" \
        ! -path "/var/cache/*" ! -path "/proc/*" | grep .'
echo "packages: ok ($suite, $version)"
