#!/usr/bin/perl
# Breaks one entry of a JPEG's EXIF block on purpose, for the tests of damaged files: the entry
# of TAG in IFD0 (or in the directory that IFD0's pointer POINTER leads to) gets COUNT as its
# count and, when given, VALUE as its value field.
# Usage: patch-entry.pl FILE TAG COUNT [VALUE [POINTER]]   (numbers may be written 0x...)
use strict;
use warnings;

my ($file, $tag, $count, $value, $pointer) = @ARGV;
$_ = defined $_ && $_ =~ /^0x/i ? hex($_) : $_ for ($tag, $count, $value, $pointer);
open my $f, '+<:raw', $file or die "$file: $!";
local $/;
my $bytes = <$f>;
my $base = index($bytes, "Exif\0\0");
die "$file: no EXIF block\n" if $base < 0;
$base += 6;
my $big = substr($bytes, $base, 2) eq 'MM';
my ($u16, $u32) = $big ? ('n', 'N') : ('v', 'V');
my $directory = unpack($u32, substr($bytes, $base + 4, 4));

sub entries {
    my ($offset) = @_;
    my $n = unpack($u16, substr($bytes, $base + $offset, 2));
    return map { $base + $offset + 2 + 12 * $_ } 0 .. $n - 1;
}

if (defined $pointer) {
    my ($entry) = grep { unpack($u16, substr($bytes, $_, 2)) == $pointer } entries($directory);
    die "$file: no pointer $pointer\n" unless defined $entry;
    $directory = unpack($u32, substr($bytes, $entry + 8, 4));
}
my ($entry) = grep { unpack($u16, substr($bytes, $_, 2)) == $tag } entries($directory);
die "$file: no tag $tag\n" unless defined $entry;
substr($bytes, $entry + 4, 4) = pack($u32, $count);
substr($bytes, $entry + 8, 4) = pack($u32, $value) if defined $value;
seek $f, 0, 0;
print $f $bytes;
close $f;
