#!/usr/bin/env bash
# Installs the Debian packages Velora builds, runs and tests with, when any is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev libgl-dev
  libvips-dev libvips-tools libheif-examples
  libxcb1-dev libxcb-shape0-dev libxcb-xfixes0-dev libx11-dev libx11-xcb-dev
  xvfb xauth openbox x11-utils x11-xserver-utils xcompmgr xdotool imagemagick
  xserver-xorg-core xserver-xorg-video-dummy
  fonts-dejavu-core
  desktop-file-utils appstream trayer dbus-daemon
  libqt6sql6-sqlite
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
