#!/usr/bin/perl
# `lumeno show --json --numeric` against exiftool's JSON of the real camera files
# (tests/data/camera/exiftool.json, exiftool -a -G1 -n -j): the same "Group:Name" members with
# the same values, group by group, at least at the share given below; the summary is there; the
# text form (without --numeric) has the same members.
# Usage: show-json-test.pl LUMENO CAMERA-DATA-DIR
use strict;
use warnings;
use JSON::PP;

my ($lumeno, $data) = @ARGV;
my %floor = (IFD0 => 99, ExifIFD => 99, InteropIFD => 100, GPS => 100, IFD1 => 100, IPTC => 100,
             'XMP-dc' => 100, 'XMP-photoshop' => 100, 'XMP-xmp' => 100, 'XMP-xmpBJ' => 100, 'XMP-xmpMM' => 100,
             'XMP-xmpRights' => 100, 'XMP-iptcCore' => 100, 'XMP-x' => 75, 'XMP-photomech' => 75);

sub slurp { local $/; open my $f, '<:raw', $_[0] or die "$_[0]: $!"; my $t = <$f>; close $f; $t }
sub number { $_[0] =~ /^-?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?$/i }

my $expected = decode_json(slurp("$data/exiftool.json"));
my $files = join ' ', map { "'$data/$_->{SourceFile}'" } @$expected;
# decode_json also checks that the output is UTF-8 throughout.
my $numericText = `'$lumeno' show --json --numeric $files 2>/dev/null`;
my $textText = `'$lumeno' show --json $files 2>/dev/null`;
my %numeric = map { ($_->{SourceFile} =~ s{.*/}{}r) => $_ } @{ decode_json($numericText) };
my %text = map { ($_->{SourceFile} =~ s{.*/}{}r) => $_ } @{ decode_json($textText) };

my (%total, %agree, $failed);
for my $file (@$expected) {
    my $name = $file->{SourceFile};
    my $ours = $numeric{$name} or die "$name: not read\n";
    for my $key (sort keys %$file) {
        my ($group) = $key =~ /^([\w-]+):/ or next;
        next unless exists $floor{$group};
        $total{$group}++;
        my ($theirs, $mine) = ($file->{$key}{val}, $ours->{$key});
        $theirs = join ' ', @$theirs if ref $theirs eq 'ARRAY';
        $mine = join ' ', @$mine if ref $mine eq 'ARRAY';
        my $ok = defined $mine;
        if ($ok) {
            s/\s+$// for $theirs, $mine;
            $ok = $mine eq $theirs ||
                  (number($mine) && number($theirs) && abs($mine - $theirs) <= 1e-6 * (abs($theirs) > 1 ? abs($theirs) : 1));
        }
        if ($ok) {
            $agree{$group}++;
        } else {
            my $shown = defined $mine ? "'" . (length $mine > 80 ? substr($mine, 0, 80) . '...' : $mine) . "'" : 'none';
            print "differs: $name $key: exiftool '$theirs', lumeno $shown\n";
        }
    }
    my @keys = sort grep { $_ ne 'SourceFile' } keys %$ours;
    my @textKeys = sort grep { $_ ne 'SourceFile' } keys %{ $text{$name} };
    if ("@keys" ne "@textKeys") {
        print "FAIL: $name: the text form has other members than the numeric one\n";
        $failed++;
    }
}
for my $group (sort keys %floor) {
    my $share = $total{$group} ? 100 * ($agree{$group} // 0) / $total{$group} : 0;
    my $ok = $total{$group} && $share >= $floor{$group};
    printf "%s %-14s %4d of %4d values agree (%.1f%%, at least %d%%)\n", $ok ? 'ok  ' : 'FAIL', $group,
        $agree{$group} // 0, $total{$group} // 0, $share, $floor{$group};
    $failed++ unless $ok;
}
# The summary, and the usage rules.
my $apple = $numeric{'Apple.jpg'};
if (($apple->{'Summary:GPSPosition'} // '') ne '53.382847, -1.456678' || ($apple->{'Summary:Make'} // '') ne 'Apple') {
    print "FAIL: the summary of Apple.jpg is not in the JSON\n";
    $failed++;
}
system("'$lumeno' show --numeric '$data/Apple.jpg' >/dev/null 2>&1");
if ($? >> 8 != 2) {
    print "FAIL: --numeric without --json is not refused as a usage error\n";
    $failed++;
}
exit($failed ? 1 : 0);
