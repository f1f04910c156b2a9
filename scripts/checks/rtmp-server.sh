#!/usr/bin/env bash
# Does scripts/rtmp-server.sh leave alone what is not its own, take a path with a blank in it, and
# start afresh where the system's sources gave one package of the two? Without a network: programs
# of this script stand in for apt, dpkg and the server.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"

failed() {
    echo "rtmp-server: $*" >&2
    exit 1
}

# The system's own server does not run.
printf '#!/bin/sh\nexit 1\n' >"$work/bin/nginx"

# Runs when the path of its module, as a configuration has to quote it, is that of a good one.
cat >"$work/server" <<'END'
#!/usr/bin/env bash
[[ $1 != -v ]] || { echo "nginx version: stand-in" >&2; exit 0; }
while [[ $1 != -c ]]; do shift; done
module=$(sed -n 's/^load_module "\(.*\)";$/\1/p' "$2")
[[ -n $module && $(cat "$module") == good ]]
END

# The system's sources have an old module only; those that are fetched have both.
cat >"$work/bin/apt-get" <<'END'
#!/usr/bin/env bash
[[ $* == *download* ]] || exit 0
if [[ $1 == -c ]]; then
    touch libnginx-mod-rtmp_1.deb nginx_1.deb
else
    touch libnginx-mod-rtmp_old.deb
    exit 1
fi
END

cat >"$work/bin/dpkg-deb" <<END
#!/usr/bin/env bash
mkdir -p "\$3"/usr/{sbin,lib/nginx/modules,share/doc/nginx}
case \$2 in
    *_old.deb) echo old >"\$3/usr/lib/nginx/modules/ngx_rtmp_module.so" ;;
    */nginx_*) cp "$work/server" "\$3/usr/sbin/nginx" && touch "\$3/usr/share/doc/nginx/copyright" ;;
    *) echo good >"\$3/usr/lib/nginx/modules/ngx_rtmp_module.so" ;;
esac
END
chmod +x "$work"/bin/* "$work/server"

get() {
    PATH=$work/bin:$PATH scripts/rtmp-server.sh "$1" >"$work/said" 2>&1
}
# It says no, and the folder is as it was.
expect_refusal() {
    local before
    before=$(ls -lR "$1")
    ! get "$1" || failed "replaced $1"
    grep -q "holds something else" "$work/said" || failed "not told that $1 is somebody else's"
    [[ $(ls -lR "$1") == "$before" ]] || failed "touched $1"
}
expect_server() {
    get "$1" || failed "no server in $1: $(cat "$work/said")"
    [[ $(ls -A "$1" | tr '\n' ' ') == "copyright nginx ngx_rtmp_module.so " ]] ||
        failed "none in $1: $(cat "$work/said" "$1.log")"
}

mkdir "$work"/{things,more,half,empty}
echo mine >"$work/things/file"
expect_refusal "$work/things"
expect_refusal "$work/things/file"
cp "$work/server" "$work/half/nginx"
expect_refusal "$work/half"
touch "$work"/more/{nginx,ngx_rtmp_module.so,copyright,diary}
expect_refusal "$work/more"

expect_server "$work/empty"
expect_server "$work/a b"
get "$work/a b" && [[ ! -s $work/said ]] || failed "a server that runs is not left as it is"
echo bad >"$work/a b/ngx_rtmp_module.so"
expect_server "$work/a b"
echo "rtmp-server: ok"
