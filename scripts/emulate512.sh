#!/usr/bin/env bash
# Runs programs of a build on a processor with AVX-512, which this machine need not have: bochs emulates one and boots Debian's kernel
# with nothing but the programs. Prints what they print; fails if one of them does, if the emulator dies, or when time is up.
#   scripts/emulate512.sh [--model NAME] [--minutes N] [--memory MIB] BUILD-DIR COMMAND...
#   --model    processor: corei7_skylake_x (the default) or corei3_cnl; on bochs's later ones the kernel doesn't come up
#   --minutes  how long the whole may take, 60 unless told otherwise;  --memory: of the guest, 1024 unless told otherwise
#   COMMAND    one quoted line for busybox's shell each, run in this folder: programs of BUILD-DIR/bin by name, assignments before
#              them, and files or folders below tests/:  scripts/emulate512.sh build/release \
#                'hashes --check tests/hashes/table.txt' 'GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2 lanes_test'
# Estimates of reciprocals are the emulator's own: what is to agree in every bit is built with -DVEKR_ESTIMATES=table.
# Debian packages that are missing are named and installed; with --no-install they are only named. The kernel is only unpacked.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
set -- "${arguments[@]}"
usage() { sed -n '4,10s/^# \{0,1\}//p' "$0" >&2; exit 2; }
model=corei7_skylake_x minutes=60 memory=1024
while [[ ${1-} = --* ]]; do
  [ $# -ge 2 ] || usage
  case $1 in
    --model) model=$2 ;;
    --minutes) minutes=$2 ;;
    --memory) memory=$2 ;;
    *) usage ;;
  esac
  shift 2
done
[ $# -ge 2 ] || usage
build=$(realpath "$1")
shift
[ -d "$build/bin" ] || { echo "$build has no bin/" >&2; exit 2; }
install_missing bochs bochs-term bochsbios vgabios isolinux syslinux-common xorriso busybox-static cpio gcc libc6-dev

# What is the same for every run: the kernel, unpacked, and the program that tries the processor.
parts=build/emulate512
mkdir -p $parts
if [ ! -e $parts/vmlinuz ]; then
  kernel=$(apt-cache depends linux-image-cloud-amd64 2>/dev/null | awk '/Depends:/ { print $2; exit }')
  [ -n "$kernel" ] || { echo "apt knows no linux-image-cloud-amd64: apt-get update" >&2; exit 1; }
  echo "Fetching $kernel"
  (cd $parts && apt-get -q -o APT::Sandbox::User=root download "$kernel" >/dev/null && dpkg-deb -x "$kernel"_*.deb kernel)
  cp $parts/kernel/boot/vmlinuz-* $parts/vmlinuz
  rm -rf $parts/kernel $parts/*.deb
fi
gcc -O2 -static -ffp-contract=off -mavx512f -mavx512vl -mavx512bw -mavx512dq scripts/emulate512_probe.c -o $parts/probe -lm

run=$(mktemp -d "$PWD/$parts/run.XXXXXX")
root=$run/root emulator=
finish() {
  if [ -n "$emulator" ]; then kill -9 "$emulator" 2>/dev/null || true; fi
  if [ -z "${keep-}" ]; then rm -rf "$run"; fi
}
trap finish EXIT
trap 'exit 130' HUP INT TERM

# The guest's files lie where they lie here, so that run paths and paths compiled in hold.
mkdir -p "$root"/{bin,proc,sys,dev,tmp} "$root$PWD" "$root$build/bin"
busybox=$(command -v busybox)
cp "$busybox" "$root/bin/busybox"
cp $parts/probe "$root/bin/probe"
for command in "$@"; do
  read -ra words <<<"$command"
  for word in "${words[@]}"; do
    word=${word#[\'\"]} word=${word%[\'\"]}
    case $word in
      tests/*) if [ -e "$word" ]; then cp -rL --parents "$word" "$root$PWD"; fi ;;
      */bin/*) word=$(realpath -m "$word"); [ "${word%/*}" != "$build/bin" ] || word=${word##*/} ;;
    esac
    program=$build/bin/$word
    if [ -f "$program" ] && [ -x "$program" ] && [ ! -e "$root$program" ]; then
      cp "$program" "$root$program"
      ldd "$program" | grep -o '/[^ ]*' | while read -r library; do cp -L --parents "$library" "$root"; done
    fi
  done
done

# PID 1: each command between two marks. Names are bound at the start: the loader's way to bind one later saves the registers by
# xsavec, of which the emulator writes more than it tells once those of AVX-512 are in use.
mark=emulate512:
{
  cat <<INIT
#!/bin/busybox sh
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
echo 1 >/proc/sys/kernel/printk
export PATH="$build/bin:/bin" HOME=/tmp GTEST_COLOR=no LD_BIND_NOW=1
cd "$PWD"
echo "$mark up"
grep -m1 'model name' /proc/cpuinfo
grep -m1 flags /proc/cpuinfo | tr ' ' '\n' | grep avx | xargs echo 'flags:'
run() {
  echo "$mark run \$1"
  /bin/busybox sh -c "\$2" </dev/null 2>&1
  echo "$mark status \$1 \$?"
}
run 0 probe
INIT
  number=0
  for command in "$@"; do
    number=$((number + 1))
    printf "run %d '%s'\n" $number "${command//\'/\'\\\'\'}"
  done
  printf 'echo "%s end"\nsleep 100000\n' "$mark"
} >"$root/init"
chmod +x "$root/init"
(cd "$root" && find . | cpio -o -H newc --quiet) >"$run/initrd"

mkdir "$run/disc"
cp /usr/lib/ISOLINUX/isolinux.bin /usr/lib/syslinux/modules/bios/ldlinux.c32 $parts/vmlinuz "$run/disc/"
mv "$run/initrd" "$run/disc/"
# The emulator's sizes of what xsaves, xsavec and pku save aren't what the kernel reckons, which would then do without all of AVX.
# The rest makes the start shorter.
settings="console=ttyS0,115200 quiet clearcpuid=xsaves,xsavec,pku"
settings+=" mitigations=off acpi=off edd=off nokaslr cryptomgr.notests initcall_blacklist=trace_eval_init"
cat >"$run/disc/isolinux.cfg" <<LOADER
default linux
prompt 0
label linux
  kernel vmlinuz
  initrd initrd
  append $settings
LOADER
xorriso -as mkisofs -quiet -o "$run/disc.iso" -b isolinux.bin -c boot.cat -no-emul-boot -boot-load-size 4 -boot-info-table "$run/disc" \
  2>"$run/xorriso.log" || { cat "$run/xorriso.log" >&2; exit 1; }
rm -rf "$run/disc" "$root"

# Time in the guest follows instructions, not this machine's clock; without a disk, pointer or sound. Debian's bochs has its debugger
# built in, which has to be told to go on, and no display without a screen but the terminal's.
cat >"$run/bochsrc" <<BOCHS
display_library: term
romimage: file=/usr/share/bochs/BIOS-bochs-latest
vgaromimage: file=/usr/share/bochs/VGABIOS-lgpl-latest
cpu: model=$model, count=1, ips=100000000, reset_on_triple_fault=0
memory: guest=$memory, host=$memory
clock: sync=none
plugin_ctrl: unmapped=1, biosdev=1, speaker=0, parallel=0, gameport=0, iodebug=0
com1: enabled=1, mode=file, dev=$run/serial
ata0: enabled=1
ata0-master: type=cdrom, path=$run/disc.iso, status=inserted
boot: cdrom
log: $run/bochs.log
panic: action=fatal
error: action=ignore
info: action=ignore
debug: action=ignore
BOCHS
echo continue >"$run/commands"
: >"$run/serial" >"$run/bochs.out"
SECONDS=0
TERM=linux bochs -f "$run/bochsrc" -rc "$run/commands" </dev/null >"$run/bochs.out" 2>&1 &
emulator=$!

# Its display is a terminal that it has made itself; unread, what it draws would block it after some minutes.
while kill -0 $emulator 2>/dev/null; do
  screen=$(sed -n 's/^Bochs connected to screen "\(.*\)"$/\1/p' "$run/bochs.out")
  if [ -n "$screen" ]; then
    { stty raw -echo; exec cat; } <"$screen" >/dev/null 2>&1 &
    break
  fi
  sleep 0.1
done

# What the emulator has used of the processor: on a busy machine the clock says little.
processor_seconds() { awk '{ print int($14 / 100) }' /proc/$emulator/stat 2>/dev/null || echo 0; }

# As it comes: what is printed between the marks, and how long it took here.
shown() {
  local line began=0 used=0 up= number commands=(probe "$@")
  while IFS= read -r line; do
    line=${line%$'\r'}
    case $line in
      "$mark up") up=yes; echo "-- up after $SECONDS s, of the processor $(processor_seconds), $model" ;;
      "$mark run "*) number=${line##* } began=$SECONDS used=$(processor_seconds); echo "-- ${commands[number]}" ;;
      "$mark status "*)
        used=$(($(processor_seconds) - used))
        echo "-- status ${line##* }, $((SECONDS - began)) s, of the processor $used" ;;
      "$mark end") up= ;;
      *) if [ -n "$up" ] || [[ $line = *"Kernel panic"* ]]; then printf '%s\n' "$line"; fi ;;
    esac
  done
}
tail -n +1 -s 0.3 -f --pid=$emulator "$run/serial" | shown "$@" &
viewer=$!

trouble=
# The guest doesn't switch itself off: that needs ACPI, whose start takes a while.
while kill -0 $emulator 2>/dev/null; do
  if [ $SECONDS -ge $((minutes * 60)) ]; then trouble="time is up: $minutes minutes"; break; fi
  if grep -aq "^$mark end" "$run/serial"; then break; fi
  if grep -aq 'Kernel panic' "$run/serial"; then trouble="the guest's kernel panicked"; sleep 1; break; fi
  sleep 0.5
done
kill -9 $emulator 2>/dev/null || true
wait $emulator 2>/dev/null || true
emulator=
wait $viewer || true
tr -d '\r' <"$run/serial" >"$run/log"
if [ -z "$trouble" ] && ! grep -aqx "$mark end" "$run/log"; then trouble="the emulator ended early"; fi
good=$(grep -ac "^$mark status [0-9]* 0\$" "$run/log" || true)
if [ -n "$trouble" ] || [ "$good" -ne $(($# + 1)) ]; then
  keep=yes
  rm -f "$run/disc.iso"
  echo "FAILED: ${trouble:-$(($# + 1 - good)) of $(($# + 1)) commands}; ${SECONDS} s; see $run" >&2
  exit 1
fi
echo "all $# commands passed; $SECONDS s"
