#!/bin/sh
# build.sh [FOLDER] makes the source tarball and the Debian packages in FOLDER (build/packages) and
# prints their names. They are built from the tarball. The same sources give the same bytes.
set -eu
root=$(dirname "$(dirname "$(readlink -f "$0")")")
folder=${1:-$root/build/packages}
. "$root/cmake/setup.sh"
export LC_ALL=C.UTF-8

# The files that belong to the sources: those that git knows or would take; without git all but what
# was built.
sources() {
  if [ -e .git ]; then
    git ls-files -co --exclude-standard
  else
    find . -path ./build -prune -o -type f -print
  fi
}

{
  require dpkg-dev
  dpkg-checkbuilddeps "$root/debian/control" || apt_get build-dep --no-install-recommends "$root" || {
    echo "Missing, and cannot be installed: what debian/control names ($reason)"
    exit 1
  }
  rm -rf "$folder"
  mkdir -p "$folder"
  folder=$(readlink -f "$folder")
  cd "$root"
  name=$(dpkg-parsechangelog -S Version)
  name=velto-${name%-*} # without Debian's own revision
  sources | sort | tar -c -T - --transform="s,^\(\./\)\?,$name/," --mode=u+rwX,go+rX,go-w \
    --owner=0 --group=0 --numeric-owner --mtime="@$(dpkg-parsechangelog -S Timestamp)" |
    gzip -9n >"$folder/$name.tar.gz"
  tar -xzf "$folder/$name.tar.gz" -C "$folder"
  cd "$folder/$name"
  dpkg-buildpackage -b -us -uc
  cd "$folder"
  rm -r "$name"
} >&2 </dev/null
ls "$folder"/*.deb "$folder"/*.tar.gz
