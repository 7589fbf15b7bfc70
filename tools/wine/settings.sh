# SPDX-License-Identifier: MIT
#
# How this tree runs Windows programs; sourced by its neighbours, which have set
# WINEPREFIX.
#
# Wine 8 takes file names apart by the locale, needs no screen for console
# programs, and would ask for components that these programs do not use.
export WINEPREFIX
export WINEDEBUG=${WINEDEBUG--all}
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

wine=/usr/lib/wine/wine64
wine_server=/usr/lib/wine/wineserver64
for needed in "$wine" "$wine_server"; do
  [ -x "$needed" ] || { echo "wine: $needed is missing; run tools/setup.sh windows" >&2; exit 1; }
done

# Each program that ended with 139 and was tried again has a line here.
retries=$WINEPREFIX/retries.log
