# DICOM slices and a TIFF stack for the tests of vekr-volume, whose voxels are linear in millimetres: x to the left, y to the back.
#   perl dicom.pl slice FILE NUMBER UID WxH "x y z of the first voxel" SPACING "a b c d": a x + b y + c z + d, of signed 16 bits;
#       rows run along x, columns along y
#   perl dicom.pl tiff FILE WxHxD: voxels x + 2 y + 4 z, of 8 bits
use strict;
use warnings;
my ($what, $file) = splice @ARGV, 0, 2;
open my $out, ">:raw", $file or die;

if ($what eq "tiff") {
  my ($w, $h, $d) = split /x/, $ARGV[0];
  my $bytes = 2 + 12 * 9 + 4 + $w * $h;
  print $out "II", pack("S<L<", 42, 8);
  for my $z (0 .. $d - 1) {
    my $at = 8 + $z * $bytes;
    my $voxels = $at + 2 + 12 * 9 + 4;
    my @tags = ([256, 3, $w], [257, 3, $h], [258, 3, 8], [259, 3, 1], [262, 3, 1], [273, 4, $voxels], [277, 3, 1], [278, 3, $h], [279, 4, $w * $h]);
    print $out pack("S<", scalar @tags);
    print $out pack("S<S<L<L<", $_->[0], $_->[1], 1, $_->[2]) for @tags;
    print $out pack("L<", $z + 1 < $d ? $at + $bytes : 0);
    for my $y (0 .. $h - 1) { print $out pack("C*", map { $_ + 2 * $y + 4 * $z } 0 .. $w - 1) }
  }
  exit 0;
}

my ($number, $uid, $sides, $first, $spacing, $formula) = @ARGV;
my ($w, $h) = split /x/, $sides;
my @first = split ' ', $first;
my ($a, $b, $c, $d) = split ' ', $formula;
sub element {
  my ($group, $tag, $vr, $value) = @_;
  $value .= $vr eq "UI" ? "\0" : " " if length($value) % 2;
  my $long = $vr =~ /^(OB|OW|SQ|UN)$/;
  return pack("S<S<", $group, $tag) . $vr . ($long ? "\0\0" . pack("L<", length $value) : pack("S<", length $value)) . $value;
}
my $class = "1.2.840.10008.5.1.4.1.1.2";
my $meta = element(2, 1, "OB", "\0\1") . element(2, 2, "UI", $class) . element(2, 3, "UI", "$uid.1.$number") .
  element(2, 0x10, "UI", "1.2.840.10008.1.2.1") . element(2, 0x12, "UI", "1.2.3");
print $out "\0" x 128, "DICM", element(2, 0, "UL", pack("L<", length $meta)), $meta;
print $out element(8, 0x16, "UI", $class), element(8, 0x18, "UI", "$uid.1.$number"), element(8, 0x60, "CS", "CT"),
  element(0x20, 0xd, "UI", "$uid.2"), element(0x20, 0xe, "UI", "$uid.3"), element(0x20, 0x13, "IS", $number),
  element(0x20, 0x32, "DS", join "\\", @first), element(0x20, 0x37, "DS", "1\\0\\0\\0\\1\\0"),
  element(0x28, 2, "US", pack("S<", 1)), element(0x28, 4, "CS", "MONOCHROME2"), element(0x28, 0x10, "US", pack("S<", $h)),
  element(0x28, 0x11, "US", pack("S<", $w)), element(0x28, 0x30, "DS", "$spacing\\$spacing"), element(0x28, 0x100, "US", pack("S<", 16)),
  element(0x28, 0x101, "US", pack("S<", 16)), element(0x28, 0x102, "US", pack("S<", 15)), element(0x28, 0x103, "US", pack("S<", 1));
my @voxels;
for my $y (0 .. $h - 1) {
  push @voxels, map { sprintf "%.0f", $a * ($first[0] + $_ * $spacing) + $b * ($first[1] + $y * $spacing) + $c * $first[2] + $d } 0 .. $w - 1;
}
print $out element(0x7fe0, 0x10, "OW", pack("s<*", @voxels));
