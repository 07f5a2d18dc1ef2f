# Sourced by run, test and package scripts: what the build needs from Debian, and how it is configured.
# shellcheck shell=bash

# Packages of the build itself; of the production line; those that the tests need besides.
build_packages=(g++ cmake ninja-build libpng-dev nlohmann-json3-dev libboost-dev libboost-context-dev libjs-dygraphs
  librsvg2-bin libfreetype-dev cmark-gfm unifont fonts-liberation)
line_packages=(python3 python3-matplotlib python3-scipy)
test_packages=(libgtest-dev libgmock-dev clang-format chromium chromium-driver python3-selenium parallel "${line_packages[@]}")
# The address sanitizer's build and the fuzzers: clang, its sanitizers and libFuzzer, and what names lines in their reports.
clang_packages=(clang libclang-rt-dev llvm)
# The instrument's own program, what its tests run it with, and GoogleTest's sources, to be built for its processor.
instrument_packages=(g++-arm-linux-gnueabi musl-dev:armel qemu-user busybox-static file googletest python3)

say() { printf '%s: %s\n' "$(basename "$0")" "$*"; }

fail() {
  say "$*" >&2
  exit 1
}

# need PACKAGE...: installs the Debian packages that are missing, and says which.
need() {
  command -v dpkg-query >/dev/null || fail "this is not a Debian system: install $* by hand"
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "missing Debian packages: ${missing[*]}. Install them as root, or install sudo"
    sudo=sudo
  fi
  if [[ " ${missing[*]} " == *:armel\ * ]] && ! dpkg --print-foreign-architectures | grep -qx armel; then
    say "adding armel, the instrument's architecture, to those that dpkg knows"
    $sudo dpkg --add-architecture armel
  fi
  say "installing Debian packages: ${missing[*]}"
  $sudo apt-get update -qq || say "apt-get update failed; trying with the package lists at hand"
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
    >/tmp/k905-apt.$$.log 2>&1 || {
    cat /tmp/k905-apt.$$.log >&2
    fail "apt-get could not install: ${missing[*]}"
  }
  rm -f /tmp/k905-apt.$$.log
}

# build PRESET [TARGET...]: configures once, builds what changed. Prints only when there is something to build.
build() {
  local preset=$1 log
  shift
  # Anew, too, when the presets have changed since: the folder keeps what they said.
  if [ ! "build/$preset/configured" -nt CMakePresets.json ] || [ ! -f "build/$preset/build.ninja" ]; then
    say "configuring build/$preset"
    cmake --preset "$preset" "${cmake_options[@]}" >"/tmp/k905-cmake.$$.log" 2>&1 || {
      cat "/tmp/k905-cmake.$$.log" >&2
      fail "configuring build/$preset failed"
    }
    rm -f "/tmp/k905-cmake.$$.log"
    touch "build/$preset/configured"
  fi
  if log=$(ninja -C "build/$preset" -n "$@" 2>/dev/null) && [[ $log == *"no work to do"* ]]; then
    return
  fi
  say "building build/$preset"
  ninja -C "build/$preset" --quiet "$@" || fail "the build in build/$preset failed"
}
cmake_options=()
