#!/bin/sh
# debian_test.sh FOLDER makes the Debian packages, and once more of the source tarball, which has to
# give the same bytes, and lets lintian judge them. Then it installs them over this system in a mount
# namespace of its own, where debian_use.sh uses and removes them; nothing of that reaches the system
# itself.
set -eu
here=$(dirname "$(readlink -f "$0")")
root=$here/../..
folder=$(readlink -m "$1")

"$root/debian/build.sh" "$folder/first" >/dev/null
rm -rf "$folder/sources"
mkdir "$folder/sources"
tar -xzf "$folder"/first/*.tar.gz -C "$folder/sources"
"$folder"/sources/*/debian/build.sh "$folder/second" >/dev/null
for file in "$folder"/first/*.deb "$folder"/first/*.tar.gz; do
  cmp "$file" "$folder/second/${file##*/}"
done
echo "The packages of two builds are the same."

if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error "$folder"/first/*.changes
else
  echo "skipped: lintian is missing"
fi

if [ "$(id -u)" -ne 0 ] || ! unshare -m true 2>/dev/null; then
  echo "skipped: installing the packages takes root and a namespace of its own"
  exit
fi
mkdir -p "$folder/system"
exec unshare -m sh -eu -c '
  cd "$1"
  mount -t tmpfs tmpfs system
  mkdir system/upper system/work system/root
  mount -t overlay overlay -o lowerdir=/,upperdir=system/upper,workdir=system/work system/root
  for name in proc dev; do
    mount --rbind /$name system/root/$name
  done
  mkdir system/root/packages
  cp first/*.deb "$2/debian_use.sh" system/root/packages
  exec chroot system/root sh /packages/debian_use.sh
' sh "$folder" "$here"
