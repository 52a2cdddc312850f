#!/usr/bin/perl
# Checks that every exported function of the public headers has a comment of
# its own directly above its declaration (Doxygen does not notice a function
# that shares the comment of the one before it).
#   check-api-docs.pl HEADER...
use strict;
use warnings;

my $missing = 0;
for my $header (@ARGV) {
    open(my $in, '<', $header) or die "$header: $!\n";
    my @lines = <$in>;
    close($in);
    for my $i (0 .. $#lines) {
        next unless $lines[$i] =~ /^DM_API\b.*?(\w+)\s*\(/;
        my $fn = $1;
        if ($i == 0 || $lines[$i - 1] !~ m{\*/\s*$}) {
            print STDERR "$header:", $i + 1, ": $fn has no comment of its own\n";
            $missing++;
        }
    }
}
exit($missing ? 1 : 0);
