#!/usr/bin/perl
# The makers' notes and GPS directories of the real camera files against exiftool: for every tag
# exiftool decodes in a maker's group (tests/data/camera/exiftool.json, exiftool -a -G1 -n -j),
# the value `lumeno show --json --numeric` gives under the same "Group:Name", maker by maker.
# Each maker must keep at least the share of agreeing values given below (they only ever go up),
# and every lens, serial number and GPS position must agree.
# Usage: maker-notes-test.pl LUMENO CAMERA-DATA-DIR
use strict;
use warnings;
use JSON::PP;

my ($lumeno, $data) = @ARGV;
# The share of exiftool's values each maker's decoding agrees with, at least (per cent).
my %floor = (Apple => 100, Canon => 100, CanonCustom => 100, Casio => 100, FujiFilm => 100, GPS => 100, Kodak => 100,
             Minolta => 100, Nikon => 100, Olympus => 98, Panasonic => 100, Pentax => 100, Ricoh => 100, Sanyo => 100,
             Sigma => 100);
# Values that must always agree, whatever the share.
my $always = qr/^(GPSLatitude|GPSLongitude|GPSAltitude|SerialNumber|InternalSerialNumber|LensModel|Lens|LensType)$/;
# exiftool's numeric form still writes some stored values as a text of its own.
my %conversion = (
    'Olympus:LensType' => sub { my @b = split ' ', $_[0]; sprintf '%x %.2x %.2x', @b[0, 2, 3] },  # make, model, sub-model
);

sub slurp { local $/; open my $f, '<:raw', $_[0] or die "$_[0]: $!"; my $t = <$f>; close $f; $t }
sub number { $_[0] =~ /^[-+]?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?$/i }

sub same {
    my ($mine, $theirs) = @_;
    return 0 unless defined $mine;
    s/\s+$// for $mine, $theirs;
    return 1 if $mine eq $theirs;
    my @m = split ' ', $mine;
    my @t = split ' ', $theirs;
    return 0 unless @m && @m == @t;
    for my $i (0 .. $#t) {
        return 0 unless number($m[$i]) && number($t[$i]) &&
                        abs($m[$i] - $t[$i]) <= 1e-6 * (abs($t[$i]) > 1 ? abs($t[$i]) : 1);
    }
    return 1;
}

my $expected = decode_json(slurp("$data/exiftool.json"));
my $files = join ' ', map { "'$data/$_->{SourceFile}'" } @$expected;
my $shown = `'$lumeno' show --json --numeric $files 2>/dev/null`;
my %mine = map { ($_->{SourceFile} =~ s{.*/}{}r) => $_ } @{ decode_json($shown) };
my (%total, %agree, @failures);
for my $file (@$expected) {
    my $name = $file->{SourceFile};
    my $ours = $mine{$name} or die "$name: not read\n";
    for my $key (sort keys %$file) {
        my ($group, $tagName) = $key =~ /^(\w+):(\w+)$/ or next;
        next unless exists $floor{$group};
        my $theirs = $file->{$key}{val};
        $theirs = join ' ', @$theirs if ref $theirs eq 'ARRAY';
        my $value = $ours->{$key};
        $value = join ' ', @$value if ref $value eq 'ARRAY';
        $value = $conversion{$key}->($value) if defined $value && $conversion{$key};
        $total{$group}++;
        if (same($value, "$theirs")) {
            $agree{$group}++;
        } elsif ($tagName =~ $always) {
            push @failures, "$name $key: exiftool reads '$theirs', lumeno " . (defined $value ? "'$value'" : 'nothing');
        }
    }
}
my $failed = @failures;
print "FAIL: $_\n" for @failures;
for my $group (sort keys %floor) {
    my $share = $total{$group} ? 100 * ($agree{$group} // 0) / $total{$group} : 0;
    my $ok = $share >= $floor{$group};
    printf "%s %-10s %4d of %4d values agree (%.1f%%, at least %d%%)\n", $ok ? 'ok  ' : 'FAIL', $group,
        $agree{$group} // 0, $total{$group} // 0, $share, $floor{$group};
    $failed++ unless $ok;
}
exit($failed == 0 ? 0 : 1);
