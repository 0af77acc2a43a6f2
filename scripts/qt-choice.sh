# SPDX-License-Identifier: BSD-3-Clause
# Sourced by the scripts that take --qt: sets qt (5 or 6), qt_suffix ("" or "-qt6", for build
# directories) and qt_packages (the Debian packages that Qt needs beyond the common ones), and
# leaves the other arguments in args.
qt=5
args=()
while [ $# -gt 0 ]; do
    case "$1" in
        --qt) qt="${2:?--qt needs 5 or 6}"; shift 2 ;;
        *) args+=("$1"); shift ;;
    esac
done
case "$qt" in
    5) qt_suffix=""
       qt_packages=(qtbase5-dev qtbase5-dev-tools qttools5-dev qttools5-dev-tools
                    libqt5serialbus5-dev libqt5serialport5-dev libqt5charts5-dev) ;;
    6) qt_suffix="-qt6"
       # Designer's CMake package needs Qt's OpenGL modules and xkbcommon.
       qt_packages=(qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
                    libqt6opengl6-dev libxkbcommon-dev libgl-dev qt6-serialbus-dev qt6-serialport-dev
                    qt6-charts-dev) ;;
    *) echo "--qt takes 5 or 6, not '$qt'" >&2; exit 2 ;;
esac
