#!/bin/sh
# A short tour of the library through the reference host's command line.
set -e
BUILD=${BUILD:-build}
tavo="$BUILD/bin/tavo"

step() { printf '\n$ %s\n' "$*"; "$@"; }

echo "== The shaders the library declares (first lines of 'tavo list') =="
"$tavo" list | head -n 24
echo "... ($("$tavo" list --json | grep -c '"name": "tavo_\|"name": "to_bw"') shaders in all)"

echo
echo "== A scene whose unit is the inch =="
step "$tavo" eval tavo_scale_meters_to_internal value=1 --scene unit_scale=0.0254
step "$tavo" eval tavo_scale_internal_to_meters value=39.37008 --scene unit_scale=0.0254
step "$tavo" eval tavo_scale_meters_to_internal_inverse value=1 --scene unit_scale=0.0254

echo
echo "== No scene record: every conversion is the identity =="
step "$tavo" eval tavo_scale_meters_to_internal value=2.5 --no-scene

for shader in tavo_Shd_Ceramic_spider tavo_Shd_Metal_spider tavo_Shd_SolidGlass_spider; do
  if "$tavo" list --json | grep -q "\"name\": \"$shader\", \"exported\": true"; then
    echo
    echo "== $shader =="
    step "$tavo" eval "$shader" --scene unit_scale=0.0254
  fi
done
if "$tavo" list --json | grep -q '"name": "tavo_Shd_Glazing_spider", "exported": true'; then
  echo
  echo "== Glazing, for an eye ray and a shadow ray =="
  step "$tavo" eval tavo_Shd_Glazing_spider --ray eye --ray shadow
fi

echo
echo "== A scene: a checker network on the floor, where the camera sees it through pixel (100, 200) =="
step "$tavo" eval --file "$(dirname "$0")/network.mi" squares --pixel 100,200

echo
echo "== A material: the ceramic phenomenon's converter inside the gallery, where the camera sees the bumped ceramic sphere =="
step "$tavo" eval --file "$(dirname "$0")/gallery.mi" ceramic_3:values --pixel 290,150

echo
echo "== Rendering: the gallery through two lens shaders, the glossy sampler and to_bw =="
step "$tavo" render "$(dirname "$0")/lenses.mi" -o lenses.png --quiet
