#!/bin/sh
# Runs the camera tests against the kernel's own test driver, in a virtual machine with a stock
# kernel. The host's files are in the guest, read-only; nothing of the host is changed.
# Usage: vivid.sh PROGRAM [STUDIO]. With the studio, a scene shows the camera while it is unplugged
# and plugged in again. Exits with 77, and says why, where the machine or the kernel is missing.
set -eu
program=$1
studio=${2-}
# Where the guest writes; what the host has there is hidden from it.
scratch=/tmp
case $(realpath "$program") in /tmp/*) scratch=/mnt ;; esac

skip() {
    echo "Skipped: $1"
    exit 77
}

command -v qemu-system-x86_64 >/dev/null || skip "qemu-system-x86_64 is not installed"
busybox=$(command -v busybox) || skip "busybox is not installed"

# The kernel need not be installed: its package is unpacked into a cache.
cache=${VIMBREL_KERNEL:-${XDG_CACHE_HOME:-$HOME/.cache}/vimbrel-kernel}
kernel=$(ls "$cache"/boot/vmlinuz-* 2>/dev/null | tail -1 || true)
[ -n "$kernel" ] || skip "there is no kernel in $cache; scripts/setup machine brings one"
version=${kernel##*/vmlinuz-}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/root/bin" "$work/root/modules" "$work/root/host" "$work/root/proc" \
    "$work/root/sys" "$work/root/dev"
cp "$busybox" "$work/root/bin/busybox"
# The package has no list of what needs what.
[ -f "$cache/lib/modules/$version/modules.dep" ] ||
    "$busybox" depmod -b "$cache" "$version" >/dev/null 2>&1 || true
[ -s "$cache/lib/modules/$version/modules.dep" ] || skip "the kernel's modules cannot be listed"
# In the order in which they need each other.
names=$(awk -F: -v want="virtio_pci 9pnet_virtio 9p vivid" '
    function base(path) { sub(/.*\//, "", path); sub(/\.ko$/, "", path); return path }
    { file[base($1)] = $1; need[base($1)] = $2 }
    function load(name,    list, n, i) {
        if (done[name]++) return
        n = split(need[name], list, " ")
        for (i = n; i >= 1; --i) load(base(list[i]))
        if (name in file) print file[name]
    }
    END { m = split(want, wanted, " "); for (j = 1; j <= m; ++j) load(wanted[j]) }
' "$cache/lib/modules/$version/modules.dep")
number=100
for name in $names; do
    cp "$cache/lib/modules/$version/$name" "$work/root/modules/$number.ko"
    number=$((number + 1))
done

cat >"$work/root/init" <<INIT
#!/bin/busybox sh
/bin/busybox mkdir -p /proc /sys /dev /host
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sys /sys
/bin/busybox mount -t devtmpfs dev /dev
for each in /modules/*.ko; do
    /bin/busybox insmod \$each \$(/bin/busybox cat \$each.options 2>/dev/null)
done
/bin/busybox mount -t 9p -o trans=virtio,version=9p2000.L,ro,cache=loose host /host
/bin/busybox mount -t tmpfs tmp /host$scratch
/bin/busybox mount --bind /dev /host/dev
/bin/busybox mount -t proc proc /host/proc
/bin/busybox mount --bind /sys /host/sys
export HOME=$scratch TMPDIR=$scratch
if [ -n "$studio" ]; then
    echo '{"canvas": {"width": 320, "height": 240, "fps": 5}, "layers": [
        {"type": "camera", "device": "vivid", "rect": [0, 0, 320, 240]}]}' >/host$scratch/scene.json
    /bin/busybox chroot /host $studio devices
    driver=/sys/bus/platform/drivers/vivid
    (
        until /bin/busybox ls -l /proc/[0-9]*/fd 2>/dev/null | /bin/busybox grep -q video0; do
            /bin/busybox sleep 1
        done
        /bin/busybox sleep 2
        echo vivid.0 >\$driver/unbind
        /bin/busybox sleep 3
        echo vivid.0 >\$driver/bind
    ) &
    /bin/busybox chroot /host $studio run $scratch/scene.json --seconds 15 --out $scratch/scene.gif
    echo "studio result: \$?"
fi
VIMBREL_VIVID=1 /bin/busybox chroot /host $program
echo "vivid result: \$?"
/bin/busybox poweroff -f
INIT
chmod +x "$work/root/init"
last=$(ls "$work/root/modules" | tail -1)
# One camera, of the kind that lists discrete sizes.
echo "n_devs=1 node_types=0x1 num_inputs=1 input_types=0x0" \
    >"$work/root/modules/$last.options"
(cd "$work/root" && find . | "$busybox" cpio -o -H newc 2>/dev/null | gzip -1 >"$work/initrd")

# The guest's time is the count of its instructions, and its idle time is skipped: how busy the host
# is changes nothing that the guest sees.
timeout 270 qemu-system-x86_64 -machine accel=tcg -cpu max -icount shift=0,sleep=off -smp 1 \
    -m 1024 -nographic -no-reboot -kernel "$kernel" -initrd "$work/initrd" \
    -append "console=ttyS0 quiet panic=-1 loglevel=3" \
    -virtfs "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap" \
    -net none </dev/null >"$work/output" 2>&1 || true
cat "$work/output"
found() {
    grep -q "$1" "$work/output" || { echo "Missing: $1"; exit 1; }
}
found "vivid result: 0"
[ -n "$studio" ] || exit 0
found "^vivid"
found "640x360@[0-9]* YUY2"
found "layers\[0\]: the camera is gone"
found "layers\[0\]: the camera is back"
found "studio result: 0"
