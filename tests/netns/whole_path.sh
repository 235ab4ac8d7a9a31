#!/usr/bin/env bash
# One case of the whole path over a real link: whole_path.sh CASE SANDBOX BIN HURRY. Exit status 77: cannot be run here.
set -euo pipefail
readonly skipped=77

failures=0
wrong() { echo "wrong: $*"; failures=$((failures + 1)); }
# want EXPECTED ACTUAL WHAT
want() { [[ $1 == "$2" ]] || wrong "$3 is '$2', not '$1'"; }
# run EXPECTED-STATUS COMMAND... : leaves $out and $err
run() {
    local expected=$1 status=0
    shift
    "$@" >"$scratch/out" 2>"$scratch/err" || status=$?
    out=$(<"$scratch/out") err=$(<"$scratch/err")
    [[ $status -eq $expected ]] || wrong "'$*' ended with $status, not $expected: $out $err"
}
# holds FILTER : the filter must be true of the JSON document in $out
holds() { jq -e "$1" <<<"$out" >/dev/null || wrong "'$1' does not hold for $out"; }
says() { [[ $err == *"$1"* ]] || wrong "'$1' is missing in: $err"; }
# eventually COMMAND... : true within ten seconds
eventually() {
    for ((tries = 0; tries < 200; tries++)); do
        if "$@"; then return 0; fi
        sleep 0.05
    done
    wrong "never came true: $*"
}

# ---- inside the sandbox ------------------------------------------------------------------------------------------

ctl() { torvosim ctl --socket "$TORVOSIM_CONTROL" "$@"; }
link_address() { ip -o -4 address show dev "$TORVOSIM_LINK" | awk '{ print $4 }' | xargs; }
link_is_up() { ip link show dev "$TORVOSIM_LINK" up | grep -q .; }
no_tentative_address() { [[ -z $(ip -6 address show dev "$TORVOSIM_LINK" tentative) ]]; }
untouched() {
    ! link_is_up || wrong "the interface was brought up"
    want "" "$(link_address)" "the interface's address"
}

# the_path GENERATION IPV6-AS-DISCOVERED
the_path() {
    run 0 qvrfctl --generation "$1" --json discover
    holds '.ipv4Address == "169.254.1.1" and .httpsPort == "443"'
    holds ".ipv6Address == \"$2\""

    run 0 qvrfctl --json link status
    holds '.interface == env.TORVOSIM_LINK and .passThroughMode == 0 and .ipv4Addresses == []'
    holds '.flags | index("UP") | not'

    run 0 qvrfctl --json link setup
    holds '[.steps[] | .step] == ["passThrough", "interface", "bmcAddress", "ipv6", "probe"]'
    holds 'all(.steps[]; .done and .milliseconds >= 0)'
    holds '.interface == env.TORVOSIM_LINK and .bmcAddress == "169.254.1.1"'

    run 0 qvrfctl --json link status
    holds 'keys == ["bmcAddress", "flags", "hardwareAddress", "interface", "ipv4Addresses", "ipv6Addresses",
                    "passThrough", "passThroughMode"]'
    holds '.ipv4Addresses == ["169.254.1.2/16"] and .bmcAddress == "169.254.1.1"'
    holds '.passThrough == "on (mode 21)" and .passThroughMode == 21'
    holds '[.flags | index("UP", "RUNNING")] | all'
    holds '.hardwareAddress == "02:00:7a:3e:c0:51" and .ipv6Addresses == ["fe80::7aff:fe3e:c051/64"]'
    want "169.254.1.1" "$(ctl get passthrough.bmc | jq -r '.facts."passthrough.bmc"')" "the BMC's own address"

    run 0 qvrfctl --generation "$1" --json session
    holds '.address == "169.254.1.1" and .port == "443" and .ipVersion == 4'
    run 0 qvrfctl --generation "$1" get /redfish/v1/Systems
    holds '.Members | length > 0'
    want 0 "$(ctl sessions | jq '.sessions | length')" "the number of sessions left"
}

inside_new_generation() {
    the_path new fe80:00:00:00:00:00:00:1234
    eventually no_tentative_address
    run 0 qvrfctl --address "fe80::1234%$TORVOSIM_LINK" get /redfish/v1/Systems
    holds '.Members | length > 0'
}
inside_old_generation() {
    the_path old fe80::1234
    eventually no_tentative_address
    ip route add prohibit 169.254.1.1
    run 0 qvrfctl --generation auto --json session
    holds '.ipVersion == 6'
}

# An address that the host has chosen stays, and a second set-up changes nothing. The IPv6 one that was not to be is made.
inside_kept_address() {
    ip link set "$TORVOSIM_LINK" addrgenmode none
    ip address add 169.254.1.77/16 dev "$TORVOSIM_LINK"
    run 0 qvrfctl link setup
    run 0 qvrfctl link setup
    want 169.254.1.77/16 "$(link_address)" "the interface's address"
    run 0 qvrfctl --json link status
    holds '.ipv6Addresses == ["fe80::7aff:fe3e:c051/64"]'
    run 0 qvrfctl --generation new get /redfish/v1/Systems
}

inside_silent_bmc() {
    run 1 torvosim ctl --socket "$TORVOSIM_CONTROL" link sideways
    ctl link down >/dev/null
    NOBODY_ANSWERS=1 run 9 qvrfctl --json link setup
    holds '[.steps[] | .done] == [true, true, true, true, false]'
    says "169.254.1.1 does not answer ARP requests of $TORVOSIM_LINK"
    says "advice: "
    ctl link up >/dev/null
    run 0 qvrfctl link setup
    run 0 qvrfctl --generation new get /redfish/v1/Systems
}

inside_no_usb_nic() {
    ctl set passthrough.mode 21 >/dev/null
    run 9 qvrfctl --json link status
    holds '.interface == null and .bmcAddress == "169.254.1.1"'
    says "no interface of this host is the BMC's USB NIC"
    run 9 qvrfctl --json link setup
    holds '[.steps[] | .done] == [true, false]'
    untouched
}

inside_other_mode() {
    ctl set passthrough.mode 1 >/dev/null
    run 9 qvrfctl link setup
    says "passes through in another mode: on (mode 1)"
    want 1 "$(ctl get passthrough.mode | jq -r '.facts."passthrough.mode"')" "the mode"
    untouched
}

inside_no_ipmi() {
    ctl stop >/dev/null
    run 3 qvrfctl link setup
    says "does not answer over IPMI"
    run 3 qvrfctl --json link status
    holds '.bmcAddress == null and .passThrough == null'
}

inside_not_root() {
    # Another user may not even reach the build directory.
    local tool=$scratch/tool
    mkdir "$tool"
    cp "$(command -v qvrfctl)" "$bin"/../lib/lib*.so* "$tool"
    chmod -R a+rX "$scratch"
    export LD_LIBRARY_PATH=$tool
    run 1 setpriv --reuid 65534 --clear-groups "$tool/qvrfctl" link setup
    says "needs root"
    untouched
}

inside_not_permitted() {
    run 1 setpriv --bounding-set=-net_admin --inh-caps=-all qvrfctl --json link setup
    holds '.steps[-1].step == "ipv6" and .steps[-1].done == false'
    says "CAP_NET_ADMIN"
    untouched
}

# The process that was to become `ip` must not carry on as a second qvrfctl.
inside_no_ip_command() {
    local tool
    tool=$(command -v qvrfctl)
    ip link set "$TORVOSIM_LINK" addrgenmode none  # otherwise there is nothing for the command to do
    mkdir "$scratch/few"
    ln -s "$(command -v grep)" "$scratch/few/grep"
    PATH=$scratch/few run 0 "$tool" --json link setup
    want 1 "$(jq -s length <<<"$out")" "the number of documents"
    want 169.254.1.2/16 "$(link_address)" "the interface's address"
}

# With a grandchild that would outlive it.
inside_terminated() {
    (exec -a "$scratch/grandchild" sleep 300) &
    touch "$scratch/started"
    wait
}

# torvosim alone, in namespaces without a BMC.
alone_named_namespace() {
    mount -t tmpfs none /run  # names of this machine are no business of the test
    export TORVOSIM_LINK=usb7
    torvosim --netns whole-path --netns-link usb7 --ready-file "$scratch/ready" >/dev/null &
    local bmc=$!
    eventually test -s "$scratch/ready"
    [[ $(ip netns list) == whole-path* ]] || wrong "the namespace has no name"
    want 169.254.1.1/16 "$(ip -n whole-path -o -4 address show dev bmc0 | awk '{ print $4 }')" "the far end's address"
    run 1 torvosim --netns whole-path
    says "ip netns delete whole-path"
    run 1 torvosim --netns --netns-link usb7
    says "File exists"
    run 1 torvosim --netns --netns-link a/b
    says "link name 'a/b'"
    run 1 setpriv --bounding-set=-sys_admin --inh-caps=-all torvosim --netns
    says "needs root"
    ip link show usb7 >/dev/null || wrong "a refused one took the link of another away"
    kill -TERM "$bmc"
    wait "$bmc" || wrong "it ended with $?"
    ! ip link show usb7 >/dev/null 2>&1 || wrong "the link is still there"
    want "" "$(ip netns list)" "the list of namespaces"
}

# ---- outside -----------------------------------------------------------------------------------------------------

# What this machine must look like again.
traces() {
    ip -o link show | awk -F': ' '{ print $2 }' | grep -E '^(torvousb|bmc0|usb7|probe)' || true
    find /run/netns -name 'whole-path*' 2>/dev/null || true
    grep -cE ' /sys tmpfs' /proc/self/mounts || true
    grep -lsF --file=- /proc/[0-9]*/cmdline <<<"$scratch/" || true  # not on its own command line
}

nothing_left() { [[ $(traces) == "$before" ]]; }

case_name=$1
if [[ ${2:-} == inside ]]; then
    scratch=$3 bin=$4
    # A sanitizer wants to come first; the probe then takes its time.
    ldd "$bin/qvrfctl" | grep -qE 'lib(a|t)san' || export LD_PRELOAD=$5
    "inside_$case_name"
    exit $((failures > 0))
fi
if [[ ${2:-} == alone ]]; then
    scratch=$3 bin=$4
    PATH=$bin:$PATH "alone_$case_name"
    exit $((failures > 0))
fi

sandbox=$2 bin=$3 hurry=$4
why=$("$sandbox" --check 2>&1) || { echo "skipped: $why"; exit $skipped; }
for needed in jq setpriv awk; do
    command -v $needed >/dev/null || { echo "skipped: needs the command $needed"; exit $skipped; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/tmp" "$scratch/mine"
chmod 755 "$scratch"
before=$(traces)
export TMPDIR=$scratch/tmp

options=()
case $case_name in
    old_generation) options=(--torvosim --generation --torvosim old) ;;
    no_usb_nic) options=(--no-usb-nic) ;;
esac
inside=("$sandbox" --bin "$bin" ${options[@]+"${options[@]}"} -- bash "$0" "$case_name" inside "$scratch/mine" "$bin" "$hurry")
case $case_name in
    terminated)
        "${inside[@]}" &
        eventually test -e "$scratch/mine/started"
        kill -TERM $!
        status=0
        wait $! || status=$?
        want 143 $status "the exit status"
        # The kernel ends them in its own time.
        eventually nothing_left
        ;;
    named_namespace)
        unshare --mount --net --propagation private bash "$0" "$case_name" alone "$scratch/mine" "$bin" ||
            failures=$((failures + 1))
        ;;
    *) "${inside[@]}" || failures=$((failures + 1)) ;;
esac

want "$before" "$(traces)" "what is left on this machine"
want "" "$(ls -A "$scratch/tmp")" "what is left in the temporary directory"
exit $((failures > 0))
