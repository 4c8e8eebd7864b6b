#!/usr/bin/env bash
# Opens every page of the built site in headless Chromium, 400 and 1400 pixels wide: none may be wider than the screen,
# and all pictures must have been drawn.
#   check_looks.sh SITE WORK
set -euo pipefail
site=$(realpath "$1")
rm -rf "$2"
mkdir -p "$2"
work=$(realpath "$2")

# A page that loads the others into a frame, one after the other, and writes down what it finds.
pages=$(cd "$site" && find . -name '*.html' ! -name genindex.html ! -name search.html | sort | sed 's/.*/"&",/')
cat >"$work/looks.html" <<PAGE
<pre id="found">unfinished</pre>
<script>
const pages = [$pages];
const found = [];
const frame = document.createElement("iframe");
frame.style.height = "900px";
document.body.append(frame);
async function look(width, page) {
  frame.style.width = width + "px";
  await new Promise(done => { frame.onload = done; frame.src = "file://$site/" + page; });
  const inside = frame.contentDocument;
  await Promise.all([...inside.images].map(image => { image.loading = "eager"; return image.decode().catch(() => 0); }));
  const wide = inside.documentElement.scrollWidth;
  if (wide > frame.clientWidth) found.push(page + " is " + wide + " wide on a screen of " + width);
  const text = inside.querySelector("article");
  if (!text || text.innerText.length < 100) found.push(page + " is empty");
  for (const image of inside.images) {
    if (image.naturalWidth === 0) found.push(page + ": no picture " + image.src);
  }
}
(async () => {
  for (const page of pages) {
    for (const width of [400, 1400]) await look(width, page);
  }
  document.getElementById("found").textContent = found.join("\n") || "all " + pages.length + " pages";
})();
</script>
PAGE
timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking \
  --disable-component-update --disable-sync --allow-file-access-from-files --user-data-dir="$work/profile" \
  --virtual-time-budget=60000 --window-size=1500,1000 --dump-dom "file://$work/looks.html" 2>"$work/messages" |
  sed -n '/<pre id="found">/,/<\/pre>/s/<[^>]*>//gp' >"$work/found"
cat "$work/found"
grep -q '^all [0-9]* pages$' "$work/found"
