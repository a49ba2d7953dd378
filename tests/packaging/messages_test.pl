#!/usr/bin/perl
# Every message of level 2 and 3 that the sources hold stands in the document: its wording, that is
# each run of two words or more between the values that are filled in.
#   messages_test.pl SOURCE_FOLDER DOCUMENT
use strict;
use warnings;

my ($folder, $document) = @ARGV;

# Where literals are no messages: mistakes on the command line, the help, tables on standard output.
my $other = qr{/((common/(command_line|assertions|logging)\w*)|rigtool|device_list|scan_progress|latest_frames)[/.]};

sub contents {
    my ($path) = @_;
    open(my $file, '<', $path) or die "$path: $!\n";
    local $/;
    return scalar <$file>;
}

# What becomes a message: all literals but those of statements that print or log something else.
sub messages {
    my ($code) = @_;
    $code =~ s{//[^\n]*|^\s*\#[^\n]*|R"\(.*?\)"}{}mg;
    $code =~ s{\b(?:QUILL_LOGF?(?:_FROM\(\w+,\s*|\()(?![^,]*(?:Failure|Warning))|f?printf\()[^;"]*(?:"(?:[^"\\]|\\.)*"[^;"]*)*;}{}g;
    my @messages;
    while ($code =~ /((?:"(?:[^"\\\n]|\\.)*"\s*)+)/g) {
        my $message = join('', $1 =~ /"((?:[^"\\\n]|\\.)*)"/g);
        $message =~ s/\\(.)/$1/g;
        push @messages, $message;
    }
    return @messages;
}

sub normalised {
    my ($text) = @_;
    $text =~ s/\s+/ /g;
    return $text;
}

my $text = normalised(contents($document));
open(my $found, '-|', 'find', (map { "$folder/$_" } qw(common devices tools/orca)), '-name', '*.cpp') or die $!;
chomp(my @sources = grep { substr($_, length($folder)) !~ $other } <$found>);
my ($seen, $lacking) = (0, 0);
for my $source (sort @sources) {
    for my $message (messages(contents($source))) {
        for my $part (split(/%[-0-9.*]*[a-z]/, $message)) {
            $part =~ s/^\W+|\W+$//g;
            next unless $part =~ /\w\S* \S*\w/;
            $seen++;
            next if index($text, normalised($part)) >= 0;
            print substr($source, length($folder) + 1), ": $part\n";
            $lacking++;
        }
    }
}
die "no messages are found in $folder\n" if $seen < 50;
print "$lacking of $seen messages are not in $document\n" if $lacking;
exit($lacking ? 1 : 0);
