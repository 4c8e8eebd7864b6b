#!/usr/bin/env bash
# Opens every page of the built site in headless Chromium, 400 and 1400 pixels wide: none may be wider than the screen,
# and all pictures must have been drawn.
#   check_looks.sh SITE WORK
set -euo pipefail
site=$(realpath "$1")
rm -rf "$2"
mkdir -p "$2"
work=$(realpath "$2")

# One page with all others in frames: it has been loaded when they have, pictures and all, and then looks at them.
{
  echo '<!DOCTYPE html><pre id="found">unfinished</pre>'
  for page in $(cd "$site" && find . -name '*.html' ! -name genindex.html ! -name search.html | sort); do
    for width in 400 1400; do
      echo "<iframe width=\"$width\" height=\"600\" title=\"$page, $width\" src=\"file://$site/$page\"></iframe>"
    done
  done
  cat <<'SCRIPT'
<script>
window.onload = () => {
  const found = [], frames = document.querySelectorAll("iframe");
  for (const frame of frames) {
    const inside = frame.contentDocument, text = inside && inside.querySelector("article");
    if (!text || text.innerText.length < 100) {
      found.push(frame.title + ": nothing there");
      continue;
    }
    const wide = inside.documentElement.scrollWidth;
    if (wide > frame.clientWidth) found.push(frame.title + ": " + wide + " pixels wide");
    for (const image of inside.images) {
      if (!image.complete || image.naturalWidth === 0) found.push(frame.title + ": no picture " + image.src);
    }
  }
  document.getElementById("found").textContent = found.join("\n") || "all " + frames.length + " views";
};
</script>
SCRIPT
} >"$work/looks.html"
timeout 100 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking \
  --disable-component-update --disable-sync --allow-file-access-from-files --user-data-dir="$work/profile" \
  --dump-dom "file://$work/looks.html" >"$work/looked.html" 2>"$work/messages"
sed -n '/<pre id="found">/{:more; /<\/pre>/!{N; b more}; s/<\/pre>.*//; s/.*<pre id="found">//p; q}' "$work/looked.html" >"$work/found"
cat "$work/found"
grep -q '^all [0-9]* views$' "$work/found"
