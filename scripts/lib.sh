# shellcheck shell=bash
# SPDX-License-Identifier: MIT
# What the scripts share: where things are, installing packages, compiling. Sourced, never run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# BUILD_DIR names another build folder (a relative one lies in the project), MESON_ARGS holds options for meson.
build_dir=${BUILD_DIR:-build}
[ "${build_dir#/}" != "$build_dir" ] || build_dir=$root/$build_dir

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

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

# need_packages NAME...: installs those of the Debian packages that are missing.
need_packages() {
  local name missing=() get=(env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300)
  if ! command -v dpkg-query >/dev/null; then
    say "this is no Debian; going on, but these must be there, under whatever names: $*"
    return
  fi
  for name; do
    installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || die "packages are missing and there is no sudo; as root: apt-get install ${missing[*]}"
    get=(sudo "${get[@]}")
  fi
  say "installing ${missing[*]}"
  local install=("${get[@]}" install -y --no-install-recommends "${missing[@]}")
  # The package lists may be empty (a fresh container) or older than the archive: update once, then it has to work.
  if ! { apt-cache show "${missing[@]}" >/dev/null 2>&1 && "${install[@]}" >&2; }; then
    { "${get[@]}" update && "${install[@]}"; } >&2 || die "could not install ${missing[*]}"
  fi
}

# compile TARGET...: configures the build folder where that is still to do, and compiles ("all" is everything).
compile() {
  local options
  read -ra options <<<"${MESON_ARGS:-}"
  if [ ! -f "$build_dir/build.ninja" ]; then
    PATH=$system_path meson setup "${options[@]}" "$build_dir" "$root"
  elif [ ${#options[@]} -gt 0 ]; then
    PATH=$system_path meson configure "${options[@]}" "$build_dir"
  fi
  PATH=$system_path ninja -C "$build_dir" -j "$(nproc)" "$@"
}

# The rest is for scripts that show the program.

said=/dev/null # where such a script keeps what the program prints

# put BYTES PATH...: files of that size.
put() {
  local size=$1 path
  shift
  for path; do
    mkdir -p "$(dirname "$path")"
    head -c "$size" /dev/zero >"$path"
  done
}

# within SECONDS COMMAND...: waits until the command succeeds, and dies where it does not.
within() {
  local turns=$(($1 * 10))
  shift
  until "$@" >/dev/null; do
    [ $((turns -= 1)) -gt 0 ] || die "waited in vain: $*; the last lines: $(tail -n 20 "$said" 2>/dev/null)"
    sleep 0.1
  done
}

said_that() { grep -q "$1" "$said"; }
shown() { xdotool search --onlyvisible "$@"; }

# The pointer goes out of the way. Until the window opens, the icon is all that shows under the program's name.
click_on_icon() {
  within 20 said_that "Tray icon setup complete"
  xdotool mousemove --window "$(shown --classname '^skyfold$' | head -n 1)" 8 8 click 1 mousemove 0 9999
}

# have_tray: starts a notification area where there is none.
have_tray() {
  "$root/scripts/x11" has-tray && return
  local said=$SKYFOLD_ISOLATED/trayer.log # where a failure is explained
  trayer --edge top --align right --widthtype request --heighttype pixel --height 28 --SetDockType true \
    >"$said" 2>&1 &
  within 10 "$root/scripts/x11" has-tray
}
