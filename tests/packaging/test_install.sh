#!/usr/bin/env bash
# cmake --install into a temporary DESTDIR: the program runs from there, the desktop entry opens
# photos with it, and desktop-file-validate and appstreamcli accept the entry and the metainfo.
# Exits 77 (skipped) when neither validator is installed.
set -euo pipefail
build=$1 id=$2 version=$3
dest=$(mktemp -d)
trap 'rm -rf "$dest"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

DESTDIR="$dest" cmake --install "$build" --prefix /usr >/dev/null
root=$dest/usr
entry=$root/share/applications/$id.desktop
metainfo=$root/share/metainfo/$id.metainfo.xml
for f in "$root/bin/velora" "$entry" "$metainfo" "$root/share/icons/hicolor/scalable/apps/$id.svg"; do
  [ -f "$f" ] || fail "not installed: ${f#"$dest"}"
done
[ -x "$root/bin/velora" ] || fail "velora is not executable"
[ "$("$root/bin/velora" --version)" = "Velora $version" ] || fail "the installed velora does not run"

key() { sed -n "s/^$1=//p" "$entry"; }
[ "$(key Exec)" = "velora %F" ] || fail "Exec is '$(key Exec)'"
[ "$(key Icon)" = "$id" ] || fail "Icon is '$(key Icon)'"
[ "$(key Comment)" = "Your photos, framed on the desktop." ] || fail "Comment is '$(key Comment)'"
[ "$(key Categories)" = "Graphics;Photography;" ] || fail "Categories are '$(key Categories)'"
for type in image/jpeg image/png image/heic image/tiff image/gif image/bmp image/webp image/jp2; do
  key MimeType | tr ';' '\n' | grep -qx "$type" || fail "MimeType lacks $type"
done
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" || fail "metainfo launches no $id.desktop"
grep -q "<release version=\"$version\"" "$metainfo" || fail "metainfo has no release $version"

validated=0
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$entry" || fail "desktop-file-validate"
  validated=1
fi
if command -v appstreamcli >/dev/null; then
  appstreamcli validate --no-net "$metainfo" || fail "appstreamcli validate"
  appstreamcli validate-tree --no-net "$root" || fail "appstreamcli validate-tree"
  validated=1
fi
if [ "$validated" = 0 ]; then
  echo "desktop-file-validate and appstreamcli are not installed (bash scripts/deps.sh installs both); skipping"
  exit 77
fi
echo "installed and validated"
