#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the demo need, and
# any more named as arguments. Does nothing when they are all present already.
set -euo pipefail
packages=(
  cmake ninja-build g++ pkg-config clang-format
  qt6-base-dev qt6-base-dev-tools qt6-serialport-dev libqt6sql6-sqlite libgl-dev
  libbenchmark-dev
  liborcus-dev libfreexl-dev libgsf-1-dev zlib1g-dev python3-xlwt
  xvfb xauth
  # programs the scripts call that a minimal system may lack (check-format.sh: git; check-layers.sh: python3)
  git python3
  # the message bus: the MQTT client library, and a broker with its command-line clients for the tests
  libmosquitto-dev mosquitto mosquitto-clients
  qt6-httpserver-dev qt6-websockets-dev libsodium-dev        # qmdvars serve: HTTP API, WebSocket, Argon2id
  chromium chromium-driver python3-selenium openssl          # the web console's browser test; the TLS test's certificate
)
packages+=("$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
