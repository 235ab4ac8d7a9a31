#!/usr/bin/env bash
# scripts/make-update-package: a package that proves itself, and clear refusals. makepackage.sh SOURCE-DIRECTORY
set -euo pipefail
make=$1/scripts/make-update-package
work=$(mktemp -d)
finish() {
    gpgconf --homedir "$work/keys" --kill all 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
failures=0
wrong() { echo "$*"; failures=$((failures + 1)); }
# refused STATUS MESSAGE ARGUMENT... : it fails so, says so, and makes nothing
refused() {
    local expected=$1 message=$2 status=0
    shift 2
    "$make" "$@" --out "$work/refused" >"$work/log" 2>&1 || status=$?
    [[ $status -eq $expected ]] || wrong "'$*': exit status $status instead of $expected"
    grep -qF -e "$message" "$work/log" || wrong "'$*': no '$message' in '$(<"$work/log")'"
    [[ ! -e $work/refused ]] || wrong "'$*': something was made"
}

mkdir "$work/my agent" "$work/empty" "$work/keys"
chmod 700 "$work/keys"
cp "$1/examples/update-package/setup.sh" "$work/my agent/"
echo 2.1.0 >"$work/my agent/VERSION"
echo "for Windows" >"$work/QD-Oxa-Zelmar-Web-X64-2.1.0.exe"

"$make" "$work/my agent" --version 2.1.0 --out "$work/my out" --new-key --add "$work/QD-Oxa-Zelmar-Web-X64-2.1.0.exe" >/dev/null
cd "$work/my out"
package=QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz
files="OXA_Lx.sh OXA_Win.bat $package $package.sign QD-Oxa-Zelmar-Web-X64-2.1.0.exe RPM-GPG-KEY-zelmar package.xml sha256sum"
[[ "$(LC_ALL=C ls -A | xargs)" == "$files" ]] || wrong "other files: $(LC_ALL=C ls -A | xargs)"
[[ "$(cut -c 65- sha256sum)" == "  $package
  QD-Oxa-Zelmar-Web-X64-2.1.0.exe" ]] || wrong "the manifest is '$(<sha256sum)'"
sha256sum --check --quiet sha256sum || wrong "a digest is wrong"
grep -q "version=\"2.1.0\"" package.xml || wrong "package.xml has no version"
[[ "$(tar -xzOf $package ./VERSION)" == 2.1.0 ]] || wrong "the archive lacks a file"

# The Linux script runs the installer of a package that is whole, and of no other.
[[ "$(./OXA_Lx.sh --unknown 2>&1 | grep -c '^usage: setup.sh')" -eq 1 ]] || wrong "OXA_Lx.sh does not run the installer"
printf x >>$package
if ./OXA_Lx.sh --unknown >"$work/log" 2>&1 || grep -q '^usage: setup.sh' "$work/log"; then wrong "OXA_Lx.sh installs a tampered package"; fi

# The same key twice: the key directory is used, and an older package is replaced.
gpg --homedir "$work/keys" --batch --quiet --pinentry-mode loopback --passphrase '' --quick-gen-key packages ed25519 sign never 2>/dev/null
"$make" "$work/my agent" --version 2.1.0 --out "$work/my out" --key "$work/keys" >/dev/null
gpg --homedir "$work/keys" --batch --quiet --verify $package.sign $package 2>/dev/null || wrong "the given key did not sign"

refused 2 "is no version" "$work/my agent" --version 1.0 --new-key
refused 2 "is no version" "$work/my agent" --version 1234567890 --new-key
refused 2 "is no version" "$work/my agent" --version '2.1.0;x' --new-key
refused 2 "do not go together" "$work/my agent" --version 2.1.0 --new-key --key "$work/keys"
refused 2 "are needed" --version 2.1.0
refused 1 "has no setup.sh" "$work/empty" --version 2.1.0 --new-key
refused 1 "no key to sign with" "$work/my agent" --version 2.1.0 --key "$work/empty"
refused 1 "no name of another system's package" "$work/my agent" --version 2.1.0 --new-key --add "$work/my agent/VERSION"
exit $((failures > 0))
