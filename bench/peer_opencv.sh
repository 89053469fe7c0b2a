#!/usr/bin/env bash
# Installs OpenCV's Python binding from Debian when missing and runs the side-by-side numbers.
set -euo pipefail
py=/usr/bin/python3
if ! "$py" -c 'import cv2' 2>/dev/null; then
  apt-get install -y --no-install-recommends python3-opencv python3-numpy >/dev/null
fi
exec "$py" "$(dirname "$0")/peer_opencv.py"
