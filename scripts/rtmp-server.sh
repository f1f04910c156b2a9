#!/usr/bin/env bash
# Sees to it that there is an RTMP server for the tests: nginx with its RTMP module.
#
#   scripts/rtmp-server.sh [PREFIX]
#
# Where the system has both, the prefix (build/rtmp-server) refers to them. Elsewhere Debian's two
# packages are downloaded and unpacked into it: nothing is installed, no service is started, nothing
# of the system is changed, and root is not needed. The tests write a configuration of their own.
#
# Without a network there is a line about it and no error: the tests that need a server are skipped
# then, and say why.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/scripts/private-apt.sh"
prefix=${1:-$root/build/rtmp-server}
packages=(nginx libnginx-mod-rtmp)
module=ngx_rtmp_module.so

# A server that runs with the module; `-t` reads the configuration and touches no port.
usable() {
    local nginx=$1 folder=$2 there
    [[ -x $nginx && -e $folder/$module ]] || return 1
    there=$(mktemp -d) || return 1
    cat >"$there/conf" <<END
load_module "$folder/$module";
pid "$there/pid";
events {}
rtmp {}
END
    "$nginx" -t -q -p "$there" -e "$there/log" -c "$there/conf" || {
        rm -rf "$there"
        return 1
    }
    rm -rf "$there"
}

usable "$prefix/nginx" "$prefix" 2>/dev/null && exit 0

# Whether a folder may be replaced: there is none, it is empty, or it is one that was made here.
replaceable() {
    [[ -e $1 || -L $1 ]] || return 0
    [[ -d $1 && ! -L $1 ]] || return 1
    local entries
    entries=$(ls -A "$1") || return 1
    [[ -z $entries ]] && return 0
    [[ -e $1/nginx || -L $1/nginx ]] && [[ -e $1/$module || -L $1/$module ]] || return 1
    ! grep -qvx -e nginx -e "$module" -e copyright <<<"$entries"
}

replaceable "$prefix" || {
    echo "rtmp-server: $prefix holds something else; remove it or name another folder" >&2
    exit 1
}

exec 3>&2 # what the user reads, when the rest goes to the log

without() {
    trap - ERR
    echo "rtmp-server: $*; without it the tests that need a server are skipped" >&3
    exit 0
}

mkdir -p "$(dirname "$prefix")"
prefix=$(cd "$(dirname "$prefix")" && pwd)/$(basename "$prefix")
log=$prefix.log
work=$(mktemp -d "$prefix.XXXXXX") # beside the prefix, to be moved there in one step
trap 'rm -rf "$work"' EXIT
exec >"$log" 2>&1
trap 'without "setting it up failed (see $log)"' ERR
made=$work/made
mkdir "$made"

# The system's own, when it is installed.
system=$(PATH=$PATH:/usr/sbin:/usr/local/sbin command -v nginx) || true
if [[ -n $system ]] && usable "$system" /usr/lib/nginx/modules; then
    ln -s "$system" "$made/nginx"
    ln -s "/usr/lib/nginx/modules/$module" "$made/$module"
else
    for tool in apt-get dpkg-deb; do
        command -v "$tool" >/dev/null || without "no $tool to get it with"
    done
    mkdir "$work/debs"
    # What the system knows of its sources may be old, or nothing at all.
    from_system() {
        (cd "$work/debs" && apt-get -o APT::Sandbox::User=root download "${packages[@]}")
    }
    from_sources() {
        rm -f "$work"/debs/* # of two that were asked for, one may have come
        private_apt "$work/apt"
        apt-get -c "$work/apt/apt.conf" update || true # one of several sources may not answer
        (cd "$work/debs" && apt-get -c "$work/apt/apt.conf" download "${packages[@]}")
    }
    echo "rtmp-server: getting the packages ${packages[*]}" >&3
    from_system || from_sources || without "no package of it could be had (see $log)"
    for package in "$work"/debs/*.deb; do
        dpkg-deb -x "$package" "$work/unpacked"
    done
    cp "$work/unpacked/usr/sbin/nginx" "$made/nginx"
    cp "$work/unpacked/usr/lib/nginx/modules/$module" "$made/$module"
    cp "$work/unpacked/usr/share/doc/nginx/copyright" "$made/copyright"
fi
usable "$made/nginx" "$made" || without "it does not run on this system (see $log)"

rm -f "$prefix/nginx" "$prefix/$module" "$prefix/copyright"
mv -T "$made" "$prefix"
echo "rtmp-server: $("$prefix/nginx" -v 2>&1 | sed 's/.*: *//') in $prefix" >&3
