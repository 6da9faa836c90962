#!/bin/sh
# Tries both commands on a fresh Debian system:  scripts/fresh.sh [SUITE]...   (default: bookworm trixie)
# Makes a Debian root of each suite with debootstrap, once, and in a copy of it runs scripts/demo.sh and scripts/test.sh: as
# root, which installs what is missing, and then as an ordinary user, in another copy of the sources. Needs root and the
# network. UTL_PRESETS names the presets to test, "dev" by default; UTL_JOBS is passed on.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lFolder=$lRoot/build/fresh
lPresets=${UTL_PRESETS:-dev}

say() { echo "fresh: $*"; }
failed() { say "FAILED: $*"; exit 1; }

# made SUITE: makes its root, as an archive.
made() {
    [ ! -s "$lFolder/$1.tar" ] || return 0
    say "$1: making a Debian root"
    rm -rf "${lFolder:?}/$1"
    debootstrap --variant=minbase "$1" "$lFolder/$1" >"$lFolder/$1.log" 2>&1 ||
        { tail -n 5 "$lFolder/$1.log"; failed "debootstrap, see $lFolder/$1.log"; }
    tar -C "$lFolder/$1" --one-file-system -cf "$lFolder/$1.new" . && mv "$lFolder/$1.new" "$lFolder/$1.tar"
}

# inside SUITE COMMAND: runs a command as root of the fresh system, with a proc file system of its own.
inside() {
    unshare --mount --pid --fork --mount-proc="$lFolder/$1/proc" chroot "$lFolder/$1" env -i \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin UTL_JOBS="${UTL_JOBS:-}" sh -euc "$2"
}

tried() {
    rm -rf "${lFolder:?}/$1" && mkdir "$lFolder/$1" && tar -C "$lFolder/$1" -xf "$lFolder/$1.tar"
    # The fresh system gets packages in the same way as this machine.
    cp /etc/resolv.conf "$lFolder/$1/etc/"
    apt-config dump | grep -E '^Acquire::(http|https|Check-)' >"$lFolder/$1/etc/apt/apt.conf.d/90host" || :
    mkdir "$lFolder/$1/root/utl"
    git ls-files -z | tar --null -T - -cf - | tar -C "$lFolder/$1/root/utl" -xf -
    lCommands="scripts/demo.sh >/tmp/demo.log 2>&1 || { cat /tmp/demo.log; exit 1; }; tail -n 1 /tmp/demo.log
        for lPreset in $lPresets; do scripts/test.sh \$lPreset >/tmp/test.log 2>&1 || { cat /tmp/test.log; exit 1; }
        grep -E 'tests passed|PASSED' /tmp/test.log; done; rm /tmp/*.log"
    say "$1: as root"
    inside "$1" "cd /root/utl; $lCommands" || failed "$1, as root"
    say "$1: as an ordinary user"
    inside "$1" "useradd -m stranger; cp -r /root/utl /home/stranger/utl; rm -rf /home/stranger/utl/build
        chown -R stranger /home/stranger
        exec setpriv --reuid stranger --regid stranger --clear-groups env HOME=/home/stranger sh -euc \
            'cd /home/stranger/utl; $(echo "$lCommands" | sed "s/'/'\\\\''/g")'" || failed "$1, as an ordinary user"
    rm -rf "${lFolder:?}/$1"
}

[ "$(id -u)" -eq 0 ] || failed "needs root"
[ $# -gt 0 ] || set -- bookworm trixie
scripts/setup.sh fresh
mkdir -p "$lFolder"
for lSuite in "$@"; do
    made "$lSuite"
    tried "$lSuite"
    say "$lSuite: PASSED"
done
