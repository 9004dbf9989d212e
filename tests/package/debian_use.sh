#!/bin/sh
# Installs the packages of /packages, does with each what users do, and removes them. Runs in a root
# of its own, with what the system has.
set -eu
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
cd /packages
rm -f ./*-dbgsym_*.deb
ours() { find /usr /etc /lib /var/lib/dpkg/info -name '*velto*' | sort; }
ours >before
packages=$(for file in *.deb; do echo "${file%%_*}"; done)
dpkg -i ./*.deb >install.log || { cat install.log && exit 1; }

# The program and what comes with it.
velto --version
for page in velto velto-equipment velto-host; do
  [ -n "$(man "$page" | grep "^SYNOPSIS")" ]
done
bash -c '
  . /usr/share/bash-completion/completions/velto
  COMP_WORDS=(velto model ex) COMP_CWORD=2
  _velto velto && [ "${COMPREPLY[*]}" = export ]'
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify --man=no velto-equipment@etch.service
fi

# C against the shared library, C++ against the static ones, Python.
examples=/usr/share/velto/examples
for name in gem_equipment gem_host; do
  cc -std=c11 $examples/c/$name.c $(pkg-config --cflags --libs velto-c) -o $name
done
c++ -std=c++20 $examples/pressure/pressure.cc $(pkg-config --cflags --libs velto) -o pressure
port=1$(shuf -i 1000-9999 -n 1) # above the usual ones, below those that the system gives
checked=$(command -v valgrind || true)
[ -z "$checked" ] || checked="$checked -q --error-exitcode=9 --leak-check=full"
timeout 60 $checked ./gem_equipment "$port" &
timeout 60 $checked ./gem_host "$port"
wait $!

# The equipment is started as its unit does.
mkdir /etc/velto tool
cp $examples/etch_tool.model /etc/velto/etch.model
unit=/usr/lib/systemd/system/velto-equipment@.service
start=$(sed -n 's/^ExecStart=//p' $unit | sed 's/%i/etch/g; s/$VELTO_OPTIONS/--port 5014/')
(cd tool && exec $start) &
tool=$!
trap 'kill $tool' EXIT
[ "$(./pressure)" = 0.000000 ]
[ "$(/usr/bin/python3 $examples/pressure/pressure.py)" = 0.0 ] # the Python of the system

kill $tool
wait $tool
trap - EXIT
ls tool/etch.kel
rm -r /etc/velto
dpkg -P $packages >remove.log || { cat remove.log && exit 1; }
ours | diff before - # they leave nothing behind
echo "The packages were installed, used and removed."
