# NIfTI files for the tests of vekr-volume, whose voxels are linear in millimetres: whatever way they are resampled, each voxel
# must hold what the formula says of its place.
#   perl nifti.pl make FILE u8|s16|u16|f32 WxHxD "12 numbers: voxels to millimetres" "a b c d" ...    a x + b y + c z + d, one a frame
#   perl nifti.pl check FILE u8|s16|u16|f32 WxHxD TOLERANCE SHARE "a b c d" ...    that SHARE of the voxels hold what the
#       formula says, and others -999 or, at the source's edge, something near; prints what is wrong
# VECTOR=1: frames are components. INTENT: the code of it.
use strict;
use warnings;
my %code = (u8 => 2, s16 => 4, u16 => 512, f32 => 16);
my %bits = (u8 => 8, s16 => 16, u16 => 16, f32 => 32);
my %letter = (u8 => "C", s16 => "s<", u16 => "S<", f32 => "f<");
my ($what, $file, $type, $sides) = splice @ARGV, 0, 4;
my @side = split /x/, $sides;
my $intent = $ENV{INTENT} // 0;
my $vector = $ENV{VECTOR} // 0;

sub place {  # of a voxel, by three rows
  my ($m, @i) = @_;
  return map { $m->[4 * $_] * $i[0] + $m->[4 * $_ + 1] * $i[1] + $m->[4 * $_ + 2] * $i[2] + $m->[4 * $_ + 3] } 0 .. 2;
}
sub each_voxel {  # of each frame
  my ($body) = @_;
  for my $f (0 .. $#ARGV) {
    my @formula = split ' ', $ARGV[$f];
    for my $z (0 .. $side[2] - 1) { for my $y (0 .. $side[1] - 1) { for my $x (0 .. $side[0] - 1) { $body->(\@formula, $x, $y, $z) } } }
  }
}
sub value {
  my ($formula, @p) = @_;
  return $formula->[0] * $p[0] + $formula->[1] * $p[1] + $formula->[2] * $p[2] + $formula->[3];
}

if ($what eq "make") {
  my @map = split ' ', shift @ARGV;
  my $frames = @ARGV;
  my $header = pack("l<", 348) . "\0" x 36;
  $header .= pack("s<8", $vector ? 5 : $frames > 1 ? 4 : 3, @side, $vector ? (1, $frames) : ($frames, 1), 1, 1);
  $header .= "\0" x 12 . pack("s<s<s<s<", $intent, $code{$type}, $bits{$type}, 0);
  my @spacing = map { my $k = $_; sqrt($map[$k]**2 + $map[4 + $k]**2 + $map[8 + $k]**2) } 0 .. 2;
  $header .= pack("f<8", 1, @spacing, 1, 1, 1, 1) . pack("f<", 352);
  $header .= "\0" x (252 - length $header) . pack("s<s<", 0, 1) . "\0" x 24 . pack("f<12", @map);
  $header .= "\0" x (344 - length $header) . "n+1\0" . "\0" x 4;
  my @voxels;
  each_voxel(sub { my ($formula, @i) = @_; push @voxels, value($formula, place(\@map, @i)) });
  @voxels = map { sprintf "%.0f", $_ } @voxels if $type ne "f32";
  open my $out, ">:raw", $file or die;
  print $out $header, pack("$letter{$type}*", @voxels);
  exit 0;
}

my ($tolerance, $share) = splice @ARGV, 0, 2;
open my $in, "<:raw", $file or do { print "no $file\n"; exit 0 };
local $/;
my $all = <$in>;
my @dim = unpack "s<8", substr $all, 40, 16;
my $is = unpack "s<", substr $all, 70, 2;
my @map = unpack "f<12", substr $all, 280, 48;
print "type $is\n" if $is != $code{$type};
print "sides @dim[1 .. 3]\n" if "@dim[1 .. 3]" ne "@side";
print "frames $dim[0]: $dim[4] $dim[5]\n" if $dim[$vector ? 5 : 4] != @ARGV;
my @voxels = unpack "$letter{$type}*", substr $all, unpack("f<", substr $all, 108, 4);
my ($i, $inside, $worst, $worst_at) = (0, 0, 0, "");
each_voxel(sub {
  my ($formula, @at) = @_;
  my $is = $voxels[$i++] // -999;
  return if $is == -999;
  my $off = abs($is - value($formula, place(\@map, @at)));
  ++$inside if $off <= $tolerance;
  ($worst, $worst_at) = ($off, "@at: $is") if $off > $worst;
});
my $near = 13;  # half a voxel along each axis
print "off by $worst at $worst_at\n" if $worst > $near;
print "only $inside of $i voxels are what they should be\n" if $inside < $share * $i;
