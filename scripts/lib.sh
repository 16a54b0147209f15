# shellcheck shell=bash
# SPDX-License-Identifier: MIT
# What the scripts share: where things are, installing packages, compiling. Sourced, never run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# BUILD_DIR names another build folder (a relative one lies in the project), MESON_ARGS holds options for meson.
build_dir=${BUILD_DIR:-build}
if [[ $build_dir != /* ]]; then build_dir=$root/$build_dir; fi

# The system's own tools: a Python or a pkg-config of a version manager does not know the system's libraries.
# shellcheck disable=SC2034  # used by the scripts that source this file
system_path=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin

say() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }
die() {
  say "$@"
  exit 1
}

# need_for PURPOSE...: installs what scripts/packages lists for these purposes.
need_for() {
  local names
  mapfile -t names < <(awk -v purposes=" $* " 'NF && index(purposes, " " $1 " ") { print $2 }' "$root/scripts/packages")
  need_packages "${names[@]}"
}

# need_packages NAME...: installs those of the Debian packages that are missing.
need_packages() {
  local missing said as_root=()
  if ! command -v dpkg-query >/dev/null; then
    say "this is no Debian; going on, but these must be there, under whatever names: $*"
    return
  fi
  missing=$(comm -23 <(printf '%s\n' "$@" | sort -u) <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' |
    sed -n 's/^installed //p' | sort -u) | paste -sd ' ')
  if [ -z "$missing" ]; then return; fi
  if [ "$(id -u)" != 0 ]; then as_root=(sudo); fi
  say "installing $missing (a few minutes; longer while something else is being installed)"
  # What apt says at length matters only where it fails, and then its last complaint.
  # shellcheck disable=SC2086
  said=$("${as_root[@]}" sh -c 'export DEBIAN_FRONTEND=noninteractive; apt-get -qq update
    apt-get -qq -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "$@"' sh $missing 2>&1) ||
    die "could not install them (as root: apt-get install $missing): ${said##*$'\n'}"
}

own_build_dir() {
  { mkdir -p "$build_dir" && [ -w "$build_dir" ]; } 2>/dev/null ||
    die "cannot write to $build_dir; BUILD_DIR names another build folder"
}

# compile TARGET...: configures the build folder where that is still to do, and compiles ("all" is everything).
compile() {
  local options
  read -ra options <<<"${MESON_ARGS:-}"
  own_build_dir
  if [ ! -f "$build_dir/build.ninja" ]; then
    PATH=$system_path meson setup "${options[@]}" "$build_dir" "$root"
  elif [ ${#options[@]} -gt 0 ]; then
    PATH=$system_path meson configure "${options[@]}" "$build_dir"
  fi
  PATH=$system_path ninja -C "$build_dir" -j "$(nproc)" "$@"
}
