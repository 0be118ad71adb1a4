#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing, the demo and the benches need.
# Skips what is already present; uses sudo when not root.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config git file dpkg-dev
  qt6-base-dev qt6-base-dev-tools qt6-multimedia-dev qt6-httpserver-dev qt6-websockets-dev
  qt6-image-formats-plugins qt6-qpa-plugins libqt6svg6
  qt6-l10n-tools qt6-tools-dev qt6-tools-dev-tools
  libgl-dev libxkbcommon-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav
  libseccomp-dev
  weston qt6-wayland
  xvfb xauth openssl iproute2 util-linux procps pulseaudio pulseaudio-utils
  fonts-dejavu-core fonts-ipafont-gothic fonts-nanum fonts-wqy-microhei
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "install-deps: done"
