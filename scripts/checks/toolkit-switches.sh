#!/usr/bin/env bash
# Do the switches of the preview's plug-ins say what is built? OFF leaves a plug-in out though its
# toolkit is there, AUTO leaves it out where there is none, ON refuses to go on then.
# usage: toolkit-switches.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A pkg-config that has never heard of GTK 4.
cat >"$work/pkg-config" <<END
#!/bin/sh
for argument; do
    case \$argument in gtk4*) exit 1 ;; esac
done
exec $(command -v pkg-config) "\$@"
END
chmod +x "$work/pkg-config"
without_qt=-DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON
without_gtk=-DPKG_CONFIG_EXECUTABLE=$work/pkg-config

configure() { # folder, options
    cmake -S "$root" -B "$work/$1" -G Ninja -DQUOLSDK_BUILD_TESTS=OFF -DQUOLSDK_BUILD_BENCH=OFF \
        -DQUOLSDK_BUILD_EXAMPLES=OFF -DQUOLSDK_WITH_LOTTIE=OFF "${@:2}" >"$work/$1.log" 2>&1
}

plugins() { # folder: the plug-ins that would be built
    ninja -C "$work/$1" -t targets all | sed -n 's|^plugins/lib\(quolsdk_[a-z]*\)\.so: .*|\1|p' |
        sort | tr '\n' ' '
}

failed=0
complain() {
    echo "toolkit-switches: $*" >&2
    failed=1
}

expect() { # folder, the plug-ins, options
    if ! configure "$1" "${@:3}"; then
        cat "$work/$1.log" >&2
        complain "the configuration fails with: ${*:3}"
    elif [[ $(plugins "$1") != "$2" ]]; then
        complain "builds '$(plugins "$1")' instead of '$2' with: ${*:3}"
    fi
}

refuse() { # folder, the text told, options
    if configure "$1" "${@:3}"; then
        complain "the configuration does not fail with: ${*:3}"
    elif ! grep -qF -- "$2" "$work/$1.log"; then
        complain "'$2' is not told with: ${*:3}"
    fi
}

expect on "quolsdk_gtk quolsdk_qt " -DQUOLSDK_WITH_QT=ON -DQUOLSDK_WITH_GTK=ON
expect off "" -DQUOLSDK_WITH_QT=OFF -DQUOLSDK_WITH_GTK=OFF
expect auto "" "$without_qt" "$without_gtk"
refuse qt "QUOLSDK_WITH_QT needs Qt 6" -DQUOLSDK_WITH_QT=ON "$without_qt"
refuse gtk "QUOLSDK_WITH_GTK needs GTK 4" -DQUOLSDK_WITH_GTK=ON "$without_gtk"

((failed)) || echo "toolkit-switches: five configurations are as they should be"
exit "$failed"
