#!/bin/bash
# Runs `bench_scan --scales ...` on an ext4 file system image made for the run
# and thrown away after it, so that the fixture homes of every scale (ten
# million entries and more together) take neither the inodes of the machine's
# own file system nor hours of unlinking afterwards: the whole image goes with
# one rm. Files are holes (bench_scan builds them so for --scales), so the
# image only grows by the folders' blocks and the git repositories.
#
#   bench/scales_on_image.sh BENCH_SCAN [IMAGE_GIB] [INODES] -- ARGS...
#   e.g. bench/scales_on_image.sh build/default/bench/bench_scan 22 13000000 -- --scales 1,10 --runs 3
#
# Needs root (losetup, mount). The mount lives in a private mount namespace
# (unshare -m), so nobody else on the machine sees it, and it is gone when the
# run ends even if the run fails. Everything is made in one new folder under
# TMPDIR (or /tmp) and removed at the end.
set -euo pipefail

bench=$(readlink -f "$1")
shift
gib=22
inodes=13000000
if [ "${1:-}" != "--" ] && [ $# -gt 0 ]; then gib=$1; shift; fi
if [ "${1:-}" != "--" ] && [ $# -gt 0 ]; then inodes=$1; shift; fi
[ "${1:-}" = "--" ] && shift

work=$(mktemp -d "${TMPDIR:-/tmp}/quillet-scales-image-XXXXXX")
trap 'rm -rf -- "$work"' EXIT
img=$work/fs.img
truncate -s "${gib}G" "$img"
# Inode tables are not zeroed ahead (lazy_itable_init, and noinit_itable on
# mounting), so the image holds only what the run writes.
mkfs.ext4 -q -F -N "$inodes" -E lazy_itable_init=1,nodiscard "$img"
mkdir "$work/mnt"

unshare -m bash -s -- "$work" "$img" "$bench" "$@" <<'INNER'
set -u
work=$1 img=$2 bench=$3
shift 3
mount --make-rprivate /
# Direct I/O on the backing file, so that its pages are not cached a second
# time beside the image's own and dropping the caches reaches the disk.
loop=$(losetup --find --show --direct-io=on --sector-size 4096 "$img")
mount -o noinit_itable "$loop" "$work/mnt"
echo "image: ${img} on ${loop}, mounted at $work/mnt"
df -h "$work/mnt" | tail -1
df -i "$work/mnt" | tail -1
TMPDIR="$work/mnt" "$bench" "$@" --keep
rc=$?
echo "image after the run:"
df -h "$work/mnt" | tail -1
df -i "$work/mnt" | tail -1
du -sh --apparent-size "$img"; du -sh "$img"
umount "$work/mnt"
losetup -d "$loop"
exit $rc
INNER
