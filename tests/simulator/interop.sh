#!/usr/bin/env bash
# Clients that others wrote, against this BMC: interop.sh CLIENT TORVOSIM. 77: the client is not installed here.
set -euo pipefail
client=$1 torvosim=$2 failures=0
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
missing() { echo "skipped: $1 is not installed"; exit 77; }
# wants PATTERN COMMAND...
wants() {
    local pattern=$1 out status=0
    shift
    out=$("$@" 2>&1) || status=$?
    [[ $status -eq 0 ]] && grep -qzE -e "$pattern" <<<"$out" && return
    echo "wrong: '$*' ended with $status and said: $out"
    failures=$((failures + 1))
}
"$torvosim" --ready-file "$work/ready" >/dev/null &
until [[ -s $work/ready ]]; do kill -0 $! || exit 1; sleep 0.01; done
where=127.0.0.1:$(jq .httpsPort "$work/ready")
unset REQUESTS_CA_BUNDLE CURL_CA_BUNDLE
export TORVOSIM_CONTROL
TORVOSIM_CONTROL=$(jq -r .control "$work/ready")
wants '"ok":true' "$torvosim" ctl power-time 0
wants '"ok":true' "$torvosim" ctl task-time 0

case $client in
    curl)
        wants '"Members"' curl -ksf -u root:simulator "https://$where/redfish/v1/Systems"
        wants '"UserName":"root"' curl -ksf -H 'Content-Type: application/json' \
            -d '{"UserName":"root","Password":"simulator"}' "https://$where/redfish/v1/SessionService/Sessions" ;;
    redfishtool)
        command -v redfishtool >/dev/null || missing redfishtool
        for login in Basic Session; do
            tool=(redfishtool -r "$where" -u root -p simulator -A "$login" -S Always)
            wants '"Name": "System"' "${tool[@]}" Systems -I System.Embedded.1
            wants '' "${tool[@]}" Systems -I System.Embedded.1 setBootOverride Once Pxe
            system=(Systems -I System.Embedded.1)
            for type in GracefulRestart ForceOff On; do wants '' "${tool[@]}" "${system[@]}" reset $type; done
            wants '"BootSourceOverrideEnabled": "Disabled"' "${tool[@]}" "${system[@]}"
            wants '"Members@odata.count": 2' "${tool[@]}" "${system[@]}" Logs
            wants '"Fan 3"' "${tool[@]}" Chassis -I System.Embedded.1 Thermal
            wants '"PowerConsumedWatts": 214' "${tool[@]}" Chassis -I System.Embedded.1 Power
            for user in "slots setusername 3 monitor" "collection adduser monitor secret12 ReadOnly"; do
                wants '"ok":true' "$torvosim" ctl accounts "${user%% *}"
                for words in "${user#* }" "setpassword monitor secret13" "useradmin monitor enable"; do
                    read -ra words <<<"$words"
                    wants '' "${tool[@]}" AccountService "${words[@]}"
                done
                wants '"accepted":true' "$torvosim" ctl user-check monitor secret13
                wants '' "${tool[@]}" AccountService useradmin monitor disable
                wants '"accepted":false' "$torvosim" ctl user-check monitor secret13
                wants '' "${tool[@]}" AccountService deleteuser monitor
            done
            wants '"ok":true' "$torvosim" ctl accounts slots
            wants 'Torvo.Embedded.1' "${tool[@]}" Managers
            wants '"Members@odata.count": 16' "${tool[@]}" AccountService Accounts
        done ;;
    sushy)
        python=/usr/bin/python3
        "$python" -c 'import sushy' 2>/dev/null || missing python3-sushy
        wants '^done' "$python" "$(dirname "$0")/interop.py" "https://$where" "$(jq -r .certificate "$work/ready")"
        wants '"sessions":\[\]' "$torvosim" ctl sessions ;;
esac
exit $((failures > 0))
