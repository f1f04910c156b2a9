#!/usr/bin/env bash
# Does scripts/thorvg/sources.py find Debian's own sources in both formats of apt, and write them
# for the other suite with all else that they say?
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work"/{folder,output,expected}

cat >"$work/sources.list" <<'END'
# deb http://commented.invalid/debian bookworm main
deb http://plain.invalid/debian bookworm main contrib # the nearest
deb http://plain.invalid/debian trixie main
deb-src http://plain.invalid/debian bookworm main
deb http://plain.invalid/debian bookworm-updates main
  deb [arch=amd64 signed-by=/keys/a.gpg] https://keyed.invalid/debian stable main
deb http://foreign.invalid/tools bookworm-tools main
deb http://foreign.invalid/tools stable tools
END
cat >"$work/folder/one.sources" <<'END'
# The first comment.
Types: deb deb-src
# A comment among the fields.
URIs: http://stanza.invalid/debian
  http://second.invalid/debian
Suites: bookworm bookworm-updates
Components: main
 contrib
Signed-By:
 -----BEGIN PGP PUBLIC KEY BLOCK-----
 .
 words: of a key
 -----END PGP PUBLIC KEY BLOCK-----

Types: deb
URIs: http://security.invalid/debian-security
Suites: bookworm-security
Components: main

Enabled: no
Types: deb
URIs: http://off.invalid/debian
Suites: bookworm
Components: main

types: deb
uris: http://small.invalid/debian
suites: sid
components: main
trusted: yes
END
echo "deb http://disabled.invalid/debian bookworm main" >"$work/folder/old.list.disabled"

cat >"$work/expected/machine.list" <<'END'
deb http://plain.invalid/debian forky main
deb [arch=amd64 signed-by=/keys/a.gpg] https://keyed.invalid/debian forky main
END
cat >"$work/expected/machine.sources" <<'END'
Types: deb
Suites: forky
Components: main
URIs: http://stanza.invalid/debian
  http://second.invalid/debian
Signed-By:
 -----BEGIN PGP PUBLIC KEY BLOCK-----
 .
 words: of a key
 -----END PGP PUBLIC KEY BLOCK-----

Types: deb
Suites: forky
Components: main
uris: http://small.invalid/debian
trusted: yes

END

sources=scripts/thorvg/sources.py
python3 "$sources" forky "$work/sources.list" "$work/folder" "$work/output"
diff -ru "$work/expected" "$work/output"

# A machine without any is told so.
mkdir "$work/none"
if python3 "$sources" forky "$work/none/sources.list" "$work/none" "$work/none" 2>/dev/null; then
    echo "thorvg-sources: no source at all passed for one" >&2
    exit 1
fi
echo "thorvg-sources: ok"
