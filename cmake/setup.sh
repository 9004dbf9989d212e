# Sourced by run and test, which set $root: installs what a build needs on Debian, configures it.
# Messages go to standard error.

# has_header NAME: true if the compiler finds it where systems keep such.
has_header() {
  [ -e "/usr/include/$1" ] || [ -e "/usr/local/include/$1" ]
}

# found PACKAGE: true if what the package brings is there, wherever it comes from.
found() {
  case $1 in
  libclang-rt-dev) # What clang's sanitizers and libFuzzer link.
    ls "$(clang++ -print-resource-dir)"/lib/linux/libclang_rt.fuzzer*.a
    ;;
  libcli11-dev) has_header CLI/CLI.hpp ;;
  libncurses-dev) has_header ncurses.h ;;
  libcpp-httplib-dev) has_header httplib.h ;;
  prometheus-cpp-dev) has_header prometheus/text_serializer.h ;;
  libjs-chart.js) [ -e /usr/share/javascript/chart.js/chart.min.js ] ;;
  chromium-driver) command -v chromedriver ;;
  libtomlplusplus-dev) has_header toml++/toml.h ;;
  nlohmann-json3-dev) has_header nlohmann/json.hpp ;;
  libsqlite3-dev) has_header sqlite3.h ;;
  libmosquitto-dev) has_header mosquitto.h ;;
  lib*-dev) # A C++ library: its main header.
    name=${1#lib} name=${name%-dev}
    has_header "$name/$name.h"
    ;;
  python3-cffi) /usr/bin/python3 -c "import cffi" ;;
  abigail-tools) command -v abidiff ;;
  dpkg-dev) command -v dpkg-buildpackage ;;
  man-db) command -v man ;;
  python3-venv) /usr/bin/python3 -c "import ensurepip" ;;
  mosquitto) [ -x /usr/sbin/mosquitto ] || command -v mosquitto ;;
  ninja-build) command -v ninja ;;
  *) command -v "$1" ;;
  esac >/dev/null 2>&1
}

# apt_get ARGS…: apt-get without questions, as root or through sudo. If it fails, $reason says why.
apt_get() {
  set -- env DEBIAN_FRONTEND=noninteractive apt-get -y -q -o DPkg::Lock::Timeout=120 "$@"
  [ "$(id -u)" -eq 0 ] || set -- sudo "$@"
  reason=$("$@" 2>&1 </dev/null) && return
  reason=$(printf '%s\n' "$reason" | tail -n 1)
  return 1
}

# require PACKAGE…: installs those that are missing, or names them and exits.
require() {
  missing=
  for package; do
    found "$package" || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0

  echo "Installing$missing" >&2
  # shellcheck disable=SC2086 # a list of words
  set -- install --no-install-recommends $missing
  apt_get "$@" || { apt_get update && apt_get "$@"; } || {
    echo "Missing, and cannot be installed:$missing ($reason)" >&2
    exit 1
  }
}

# The libraries of parts of the program that it is also built without, a line of them for each part.
optional_libraries() {
  (require libncurses-dev) || echo "The program is built without its screens." >&2
  (require nlohmann-json3-dev) || echo "velto will not read JSON, and has no gateway." >&2
  (require libpcap-dev) || echo "velto will read no captures." >&2
  (require libtomlplusplus-dev libsqlite3-dev libmosquitto-dev prometheus-cpp-dev) ||
    echo "The gateway is built without what these are for, or left out." >&2
  (require pkg-config libcpp-httplib-dev prometheus-cpp-dev libjs-chart.js) ||
    echo "The program may be built without its pages." >&2
}

# configured PRESET: true if build/PRESET can be built. One that was copied here along with the
# sources would build the sources that it came from.
configured() {
  [ -e "$root/build/$1/build.ninja" ] &&
    grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$root/build/$1/CMakeCache.txt"
}

# configure PRESET ARGS…: brings build/PRESET up to date.
configure() {
  configured "$1" || set -- "$@" --fresh
  cmake -S "$root" --preset "$@"
}
