# Sourced by the tests of volumes in the world, after check.sh, with `here` set: volumes of formulas (see nifti.pl).

make() { perl "$here/nifti.pl" make "$@"; }

# holds FILE TYPE SIDES TOLERANCE SHARE FORMULA...: the file holds the formula of each voxel's place.
holds() {
  local said
  said=$(perl "$here/nifti.pl" check "$@" 2>&1)
  [ -z "$said" ] || wrong "$*: $said"
}
