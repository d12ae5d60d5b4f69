#!/usr/bin/perl
# The makers' notes and GPS directories of the real camera files against exiftool: for every tag
# exiftool decodes in a maker's group (tests/data/camera/exiftool.json, its numeric form), the
# value `lumeno dump --json` reads under the same name, maker by maker. Each maker must keep at
# least the share of agreeing values given below (they only ever go up), and every lens, serial
# number and GPS position must agree.
# Usage: maker-notes-test.pl LUMENO CAMERA-DATA-DIR
use strict;
use warnings;
use JSON::PP;

my ($lumeno, $data) = @ARGV;
# The share of exiftool's values each maker's decoding agrees with, at least (per cent).
my %floor = (Apple => 66, Canon => 42, Casio => 80, FujiFilm => 100, GPS => 100, Minolta => 5, Nikon => 47,
             Olympus => 93, Panasonic => 95, Pentax => 35, Ricoh => 42, Sanyo => 95, Sigma => 60);
# Values that must always agree, whatever the share.
my $always = qr/^(GPSLatitude|GPSLongitude|GPSAltitude|SerialNumber|InternalSerialNumber|LensModel|Lens|LensType)$/;

# exiftool's numeric form still converts some stored values into a text of its own.
my %conversion = (
    'Olympus:LensType' => sub { sprintf '%x %.2x %.2x', @{ $_[0] }[0, 2, 3] },  # make, model, sub-model
);

sub slurp { local $/; open my $f, '<:raw', $_[0] or die "$_[0]: $!"; my $t = <$f>; close $f; $t }

sub number { $_[0] =~ /^-?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?$/i }
sub close_to {
    my ($a, $b) = @_;
    return 0 unless number($a) && number($b);
    return abs($a - $b) <= 1e-6 * (abs($b) > 1 ? abs($b) : 1);
}
sub same_list {
    my ($mine, $theirs) = @_;
    my @t = split ' ', $theirs;
    return 0 unless @t == @$mine;
    for my $i (0 .. $#t) { return 0 unless close_to($mine->[$i], $t[$i]) }
    return 1;
}

# Whether lumeno's entry holds what exiftool shows in its numeric form.
sub same_value {
    my ($entry, $theirs, $directory, $key) = @_;
    return $conversion{$key}->($entry->{Values}) eq $theirs if $conversion{$key} && ref $entry->{Values} eq 'ARRAY';
    my ($type, $values) = ($entry->{Type}, $entry->{Values});
    $theirs = "$theirs";
    return 0 unless defined $values;
    my $size = { BYTE => 1, SBYTE => 1, UNDEFINED => 1, ASCII => 1, SHORT => 2, SSHORT => 2, LONG => 4,
                 SLONG => 4, FLOAT => 4, rational_t => 8, srational_t => 8, DOUBLE => 8 }->{$type} // 0;
    if ($theirs =~ /^\(Binary data (\d+) bytes/) {
        return $size * $entry->{Count} == $1;
    }
    (my $t = $theirs) =~ s/\s+$//;
    if ($type eq 'ASCII') {
        (my $m = $values) =~ s/\s+$//;
        return $m eq $t || close_to($m, $t);
    }
    if ($type eq 'rational_t' || $type eq 'srational_t') {
        my @v = map { $_->[1] ? $_->[0] / $_->[1] : 0 } @$values;
        # GPS positions in decimal degrees, the time stamp as H:M:S.
        if ($directory == 34853 && @v == 3) {
            return close_to($v[0] + $v[1] / 60 + $v[2] / 3600, $t) if $entry->{Tag} =~ /^(2|4|20|22)$/;
            if ($entry->{Tag} == 7) {
                my ($h, $m, $s) = split /:/, $t;
                return defined $s && close_to($v[0] * 3600 + $v[1] * 60 + $v[2], $h * 3600 + $m * 60 + $s);
            }
        }
        return same_list(\@v, $t);
    }
    return 0 unless ref $values eq 'ARRAY';
    return 1 if same_list($values, $t);
    # A maker's table may read unsigned values as signed ones of the same size.
    my $bits = 8 * $size;
    if ($bits && $bits <= 32 && $type =~ /^(BYTE|SHORT|LONG|UNDEFINED)$/) {
        return 1 if same_list([map { $_ >= 2**($bits - 1) ? $_ - 2**$bits : $_ } @$values], $t);
    }
    # Bytes that hold a text: exiftool shows the text, NULs at the end left out.
    if ($type eq 'UNDEFINED' || $type eq 'BYTE') {
        (my $text = join '', map { $_ >= 32 && $_ < 127 ? chr : $_ == 0 ? "\0" : '?' } @$values) =~ s/[\0\s]+$//;
        $text =~ s/\0/?/g;
        return 1 if $text eq $t;
    }
    return 0;
}

my $expected = decode_json(slurp("$data/exiftool.json"));
my $files = join ' ', map { "'$data/$_->{SourceFile}'" } @$expected;
my $dumps = `'$lumeno' dump --json $files 2>/dev/null`;
my %mine = map { ($_->{SourceFile} =~ s{.*/}{}r) => $_ } @{ decode_json($dumps) };
my (%total, %agree, @failures);
for my $file (@$expected) {
    my $name = $file->{SourceFile};
    my $ours = $mine{$name} or die "$name: not read\n";
    my %found;
    for my $d (@{ $ours->{Directories} }) {
        next unless $d->{Id} == 37500 || $d->{Id} == 34853 || $d->{Id} > 0xFFFF;
        for my $e (@{ $d->{Entries} }) { push @{ $found{ $d->{Id} == 34853 ? 'GPS' : 'maker' }{ $e->{Name} } }, [$e, $d->{Id}] }
    }
    for my $key (sort keys %$file) {
        my ($group, $tagName) = $key =~ /^(\w+):(\w+)$/ or next;
        next unless exists $floor{$group};
        my $tag = $file->{$key};
        next unless ref $tag eq 'HASH';
        $total{$group}++;
        # A name can occur in several of a maker's directories: the one of the same tag number.
        my @named = @{ $found{ $group eq 'GPS' ? 'GPS' : 'maker' }{$tagName} // [] };
        my ($hit) = ((grep { $_->[0]{Tag} eq $tag->{id} } @named), @named);
        if ($hit && same_value($hit->[0], $tag->{val}, $hit->[1], $key)) {
            $agree{$group}++;
        } elsif ($tagName =~ $always) {
            push @failures, "$name $key: exiftool reads '$tag->{val}', lumeno " .
                ($hit ? encode_json($hit->[0]{Values}) : 'has no such entry');
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
