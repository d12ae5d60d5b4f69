#!/usr/bin/perl
# Real camera files against exiftool: every tag of IFD0, the EXIF directory, the
# interoperability directory, the GPS directory and IFD1 that exiftool reads (tests/data/camera/exiftool.json,
# made once with exiftool) must be read by `lumeno dump --json` with the same value, and shown
# by `lumeno dump` (a line of its own, unless the display rules keep the tag silent).
# Usage: camera-samples-test.pl LUMENO CAMERA-DATA-DIR
use strict;
use warnings;
use JSON::PP;

my ($lumeno, $data) = @ARGV;
my %directoryOf = (IFD0 => 1, ExifIFD => 34665, InteropIFD => 40965, GPS => 34853, IFD1 => 2);
# exiftool's numeric form (-n) still converts some values: APEX units to seconds and F numbers,
# and the thumbnail's offset to one from the start of the file.
my %conversion = (
    37377 => sub { abs($_[0]) < 100 ? 2**(-$_[0]) : 0 },  # ShutterSpeedValue
    37378 => sub { 2**($_[0] / 2) },  # ApertureValue
    37381 => sub { 2**($_[0] / 2) },  # MaxApertureValue
);
my $tiffBase = 0;                     # where the file's EXIF block starts, for the thumbnail offset
my ($passed, $failed) = (0, 0);

sub slurp { local $/; open my $f, '<:raw', $_[0] or die "$_[0]: $!"; my $t = <$f>; close $f; $t }
sub run { my $command = join ' ', map { "'$_'" } @_; my $out = `$command 2>/dev/null`; ($out, $? >> 8) }

sub close_to {
    my ($a, $b) = @_;
    return 0 unless $a =~ /^-?[\d.]+(e[-+]?\d+)?$/i && $b =~ /^-?[\d.]+(e[-+]?\d+)?$/i;
    my $d = abs($a - $b);
    return $d <= 1e-9 * (abs($b) > 1 ? abs($b) : 1);
}

sub same_numbers {
    my ($mine, $theirs) = @_;
    my @t = split ' ', $theirs;
    return 0 unless @t == @$mine;
    for my $i (0 .. $#t) { return 0 unless close_to($mine->[$i], $t[$i]) }
    return 1;
}

# Whether lumeno's entry holds the value exiftool gives in its numeric form (-n).
sub same_value {
    my ($entry, $theirs) = @_;
    my $values = $entry->{Values};
    my $type = $entry->{Type};
    $theirs = "$theirs";
    if ($theirs =~ /^\(Binary data (\d+) bytes/) {
        my $size = { BYTE => 1, SBYTE => 1, UNDEFINED => 1, ASCII => 1, SHORT => 2, SSHORT => 2,
                     LONG => 4, SLONG => 4, FLOAT => 4, rational_t => 8, srational_t => 8, DOUBLE => 8 }->{$type};
        return defined $size && $size * $entry->{Count} == $1;
    }
    return 0 unless defined $values;
    if ($entry->{Directory} == 34853 && $type eq 'rational_t' && @$values == 3) {
        my @v = map { $_->[1] ? $_->[0] / $_->[1] : 0 } @$values;
        # Positions as decimal degrees; the time stamp as H:M:S, the seconds with their fraction.
        return close_to($v[0] + $v[1] / 60 + $v[2] / 3600, $theirs) if grep { $entry->{Tag} == $_ } 2, 4, 20, 22;
        if ($entry->{Tag} == 7) {
            my ($h, $m, $sec) = split /:/, $theirs;
            return defined $sec && close_to($v[0] * 3600 + $v[1] * 60 + $v[2], $h * 3600 + $m * 60 + $sec);
        }
    }
    if ($type eq 'ASCII') {
        (my $m = $values) =~ s/\s+$//;
        (my $t = $theirs) =~ s/\s+$//;
        # exiftool's JSON writes texts that look like numbers as numbers ("1.00" becomes 1).
        return $m eq $t || close_to($m, $t);
    }
    if ($type eq 'FLOAT' || $type eq 'DOUBLE') {
        return same_numbers($values, $theirs);
    }
    if ($type eq 'rational_t' || $type eq 'srational_t') {
        my @t = split ' ', $theirs;
        return 0 unless @t == @$values;
        for my $i (0 .. $#t) {
            my ($n, $d) = @{ $values->[$i] };
            my $convert = $conversion{ $entry->{Tag} } // sub { $_[0] };
            my $ok = $d == 0 ? ($n == 0 ? $t[$i] eq 'undef' : $t[$i] =~ /^-?inf$/) : close_to($convert->($n / $d), $t[$i]);
            return 0 unless $ok;
        }
        return 1;
    }
    if ($type eq 'UNDEFINED') {
        my @bytes = @$values;
        return 1 if same_numbers(\@bytes, $theirs);
        (my $text = join '', map { chr } @bytes) =~ s/[\0\s]+$//;
        (my $t = $theirs) =~ s/\s+$//;
        return 1 if $text eq $t;
        # UserComment: an eight-byte character-code header, then the text.
        if ($entry->{Tag} == 37510 && @bytes >= 8) {
            (my $comment = join '', map { chr } @bytes[8 .. $#bytes]) =~ s/[\0\s]+$//;
            return 1 if $comment eq $t;
        }
        # CFAPattern: the repeat size as two shorts, then the colours.
        if ($entry->{Tag} == 41730 && @bytes >= 4) {
            my $big = $bytes[0] == 0 && $bytes[2] == 0;
            my @size = $big ? ($bytes[1], $bytes[3]) : ($bytes[0], $bytes[2]);
            return 1 if same_numbers([@size, @bytes[4 .. $#bytes]], $theirs);
        }
        return 0;
    }
    if ($entry->{Tag} == 513 && $entry->{Directory} == 2) {
        return same_numbers([map { $_ + $tiffBase } @$values], $theirs);
    }
    return same_numbers($values, $theirs) if ref $values eq 'ARRAY';
    return 0;
}

my $expected = decode_json(slurp("$data/exiftool.json"));
my ($dumps) = run($lumeno, 'dump', '--json', map { "$data/$_->{SourceFile}" } @$expected);
my %mine = map { ($_->{SourceFile} =~ s{.*/}{}r) => $_ } @{ decode_json($dumps) };
my ($tags, $files) = (0, 0);
for my $file (@$expected) {
    my $name = $file->{SourceFile};
    my $ours = $mine{$name};
    if (!$ours || $ours->{Error}) {
        print "FAIL: $name is not read: ", ($ours ? $ours->{Error} : 'missing'), "\n";
        $failed++;
        next;
    }
    $files++;
    my ($text) = run($lumeno, 'dump', "$data/$name");
    my $bytes = slurp("$data/$name");
    $tiffBase = $name =~ /\.jpg$/ ? index($bytes, "Exif\0\0") + 6 : 0;
    my %lines = map { /^([^:]+): / ? ($1 => 1) : () } split /\n/, $text;
    my %directories = map { $_->{Id} => $_ } @{ $ours->{Directories} };
    for my $key (sort keys %$file) {
        my ($group) = $key =~ /^(\w+):/ or next;
        my $id = $directoryOf{$group} // next;
        my $tag = $file->{$key};
        next unless ref $tag eq 'HASH' && $tag->{id} =~ /^\d+$/;
        $tags++;
        my ($entry) = grep { $_->{Tag} == $tag->{id} } @{ $directories{$id}{Entries} // [] };
        $entry->{Directory} = $id if $entry;
        my $where = "$name $key (tag $tag->{id})";
        if (!$entry) {
            print "FAIL: $where: exiftool reads '$tag->{val}', lumeno has no such entry\n";
            $failed++;
        } elsif (!same_value($entry, $tag->{val})) {
            print "FAIL: $where: exiftool reads '$tag->{val}', lumeno ", encode_json($entry->{Values}), "\n";
            $failed++;
        } elsif ($entry->{Text} ne '' && !$lines{$entry->{Name}} && !$lines{sprintf 'Tag 0x%04x (%s, %d)', $entry->{Tag}, $entry->{Type}, $entry->{Count}} && $id != 2) {
            print "FAIL: $where: lumeno dump shows no line for it\n";
            $failed++;
        } else {
            $passed++;
        }
    }
}
print "$files files, $tags tags compared\n";
print "$passed passed, $failed failed\n";
exit($failed == 0 && $files > 0 ? 0 : 1);
