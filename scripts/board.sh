#!/bin/sh
# Runs the tests on a real 32-bit ARM kernel:  scripts/board.sh [MINUTES]
# An emulated board (Cortex-A15, one processor, 256 MB) boots Debian's kernel with an initramfs that holds busybox, the C
# and C++ libraries and the programs of preset armhf. There each test runs in a process of its own; then the proof of
# clocks, an account of 100,000 messages, the demo, and its soak for MINUTES (1 by default; 0 leaves it out).
# The board's output is in build/board/console.log. Of ARM packages only the compiler is installed on this machine.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
lMinutes=${1:-1}
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lFolder=$lRoot/build/board
lTree=$lFolder/initramfs
lTriplet=arm-linux-gnueabihf

say() { echo "board: $*"; }
failed() { say "FAILED: $*"; exit 1; }

# The kernel and busybox for ARM, by lists of packages of our own.
fetched() {
    [ ! -e "$lFolder/vmlinuz" ] || return 0
    say "fetching the kernel"
    mkdir -p "$lFolder/lists/partial" "$lFolder/cache/archives/partial" "$lFolder/packages"
    : >"$lFolder/status"
    # shellcheck source=/dev/null
    (. /etc/os-release && echo "deb http://deb.debian.org/debian $VERSION_CODENAME main") >"$lFolder/sources.list"
    cat >"$lFolder/apt.conf" <<END
APT::Architecture "armhf";
APT::Architectures { "armhf"; };
APT::Sandbox::User "root";
Dir::State "$lFolder";
Dir::State::status "$lFolder/status";
Dir::Cache "$lFolder/cache";
Dir::Etc::sourcelist "$lFolder/sources.list";
Dir::Etc::sourceparts "/dev/null";
END
    export APT_CONFIG="$lFolder/apt.conf"
    apt-get -qq update
    # The package without a version names the one with it.
    lKernel=$(apt-cache depends linux-image-armmp | sed -n 's/^ *Depends: \(linux-image-[0-9][^ ]*\)$/\1/p' | head -n 1)
    (cd "$lFolder/packages" && apt-get -qq download "$lKernel" busybox-static)
    for lPackage in "$lFolder"/packages/*.deb; do dpkg-deb -x "$lPackage" "$lFolder/unpacked"; done
    unset APT_CONFIG
    cp "$lFolder"/unpacked/boot/vmlinuz-* "$lFolder/vmlinuz"
}

# carried FILE FOLDER: copies a file without its debug information.
carried() { "$lStrip" -o "$lTree/$2/$(basename "$1")" "$1"; }

initramfs() {
    rm -rf "$lTree"
    mkdir -p "$lTree/bin" "$lTree/lib" "$lTree/tests" "$lTree/proof" "$lTree/proc" "$lTree/sys" "$lTree/dev" \
        "$lTree/tmp" "$lTree/etc" "$lTree/demo/scripts" "$lTree/demo/build"
    lBusybox=$(find "$lFolder/unpacked" -name busybox -type f -perm -u+x | head -n 1)
    cp "$lBusybox" "$lTree/bin/busybox"
    for lName in sh awk cat cut date grep head ls mkdir mkfifo mount poweroff ps rm sed seq sleep sort tail timeout tr \
        uname wc; do
        ln -s busybox "$lTree/bin/$lName"
    done
    cp -L /usr/$lTriplet/lib/ld-linux-armhf.so.3 "$lTree/lib"
    for lName in libc.so.6 libm.so.6 libgcc_s.so.1 libstdc++.so.6 libpthread.so.0 librt.so.1; do
        cp -L "/usr/$lTriplet/lib/$lName" "$lTree/lib"
    done
    for lLibrary in "$lBuild"/libutl.so.1 "$lBuild"/lib/lib*.so.*.*; do
        [ ! -e "$lLibrary" ] || carried "$lLibrary" lib
    done
    for lProgram in "$lBuild"/tests/Utl*Test; do carried "$lProgram" tests; done
    for lName in UtlClockProof UtlRaceProof; do carried "$lBuild/tests/proof/$lName" proof; done
    carried "$lBuild/examples/demo/utlDemo" bin
    mkdir -p "$lTree$lRoot/examples/demo/data" # the path of the demo's own sample is built in
    cp examples/demo/data/*.txt "$lTree$lRoot/examples/demo/data"
    cp scripts/soak.sh "$lTree/bin"
    cp scripts/board-init.sh "$lTree/init"
    (cd "$lTree" && find . | cpio --quiet -o -H newc -R 0:0 | gzip -1) >"$lFolder/initramfs.gz"
}

scripts/setup.sh armhf board
lStrip=$(find /usr/bin -name "$lTriplet-strip" -o -name "$lTriplet-strip-[0-9]*" | head -n 1)
[ -n "$lStrip" ] || failed "no $lTriplet-strip"
lBuild=build/armhf
say "building preset armhf"
cmake --preset armhf >/dev/null
nice cmake --build --preset armhf --parallel "${UTL_JOBS:-$(nproc)}" >/dev/null
mkdir -p "$lFolder"
fetched
initramfs
say "booting"
lStart=$(date +%s)
timeout $((1800 + lMinutes * 90)) qemu-system-arm -M virt -cpu cortex-a15 -smp 1 -m 256 -nic none -nographic -no-reboot \
    -kernel "$lFolder/vmlinuz" -initrd "$lFolder/initramfs.gz" \
    -append "console=ttyAMA0 quiet panic=-1 utl_minutes=$lMinutes utl_sample=$lRoot/examples/demo/data/sample.sjis.txt" \
    </dev/null >"$lFolder/console.log" 2>&1 || failed "the emulator, see $lFolder/console.log"
grep '^board: ' "$lFolder/console.log" | tr -d '\r' || :
grep -q '^board: PASSED' "$lFolder/console.log" || failed "see $lFolder/console.log"
say "$(($(date +%s) - lStart)) s from start to end"
