#!/usr/bin/env bash
# Installs what building, testing and trying the library needs, from Debian's own packages
# (Debian 12 and 13). Quick and silent about it when everything is there already.
set -euo pipefail

packages=(
    # compiler and build
    g++ make cmake ninja-build pkg-config ccache git
    # what the library links
    libavformat-dev libavcodec-dev libavfilter-dev libswscale-dev libswresample-dev libavutil-dev
    # drawing of titles, and a font that is always there
    libcairo2-dev fonts-dejavu-core
    # reading of Lottie templates
    rapidjson-dev
    # for a ThorVG that is not among the system's packages (scripts/thorvg.sh), with python3
    patchelf
    # OpenGL without a window: headers, and the loader and drivers that are found at run time
    libegl-dev libgl-dev libegl1 libgl1-mesa-dri
    # the preview: windows and sound of the machine, a server of windows for its tests
    libxcb1-dev libxcb-shape0-dev libsdl2-dev xvfb
    # the preview's plug-ins, each built where its toolkit is there
    qt6-base-dev libgtk-4-dev
    # the example of a vision mixer: its window, its screenshots
    libx11-dev libpng-dev
    # tests and benchmarks; ffmpeg makes the test media, python3 runs a source check
    ffmpeg libgtest-dev libgmock-dev libbenchmark-dev python3
    # hosts of the C interface in other languages, which the tests run (with python3)
    luajit
    # the Python module, built where these are there, and its tests
    python3-dev pybind11-dev python3-numpy python3-pytest
    # fuzz targets and sanitizers: the compiler that has them, its run-time library, and what finds
    # the names of functions, by which leaks of other libraries are told from ours
    clang libclang-rt-dev llvm
    # Debian packages, and what reads their manual pages
    dpkg-dev file man-db
    # style, static analysis, reference manual
    clang-format clang-tidy doxygen
)

if ! command -v dpkg-query >/dev/null; then
    echo "install-deps: not a Debian system; needed here are the equivalents of:" >&2
    printf '  %s\n' "${packages[@]}" >&2
    exit 1
fi

installed=$(dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' | sed -n 's/^ii *//p')
missing=()
for package in "${packages[@]}"; do
    grep -qxF -- "$package" <<<"$installed" || missing+=("$package")
done

if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "install-deps: missing packages, and neither root nor sudo to install them:" >&2
        echo "  apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
