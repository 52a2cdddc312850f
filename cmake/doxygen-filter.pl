#!/usr/bin/perl
# Input filter for the API reference: the headers are written with plain C
# comments, and this turns them into the documentation blocks Doxygen reads.
#
#   the file's opening comment        ->  the file's description ("NAME - "
#                                         is dropped from its first line)
#   a comment followed by a blank line ->  more of the file's description, in
#                                         order (the overview of a group of
#                                         functions); "---- name ----" banners
#                                         stay plain
#   a comment directly above a
#   declaration or definition          ->  that declaration's documentation
#   a comment after code on its line   ->  that member's documentation
#
# Comments above includes, `#ifdef __cplusplus` and closing conditionals stay
# plain. Lines are never added or removed, so Doxygen's line numbers match the
# header.
use strict;
use warnings;
use File::Basename;

my $name = basename($ARGV[0] // '');
my $plain_next = qr{^\s*(#\s*(include|ifdef\s+__cplusplus|elif|else|endif)\b|/\*|\})};

my @lines = <>;
my $seen_first = 0;
my $i = 0;
while ($i < @lines) {
    my $line = $lines[$i];
    if ($line =~ m{^\s*/\*(?![*!])}) {
        my $end = $i;
        $end++ while $end < $#lines && $lines[$end] !~ m{\*/};
        my $next = $end < $#lines ? $lines[$end + 1] : "";
        if (!$seen_first) {
            $seen_first = 1;
            $lines[$i] =~ s{/\*}{/** \@file };
            my $title = $lines[$i] =~ m{\*/} ? $i : $i + 1;
            $lines[$title] =~ s{^(\s*\*?\s*)[\w.]+\.h - }{$1} if $title <= $end;
        } elsif ($next =~ /^\s*$/) {
            $lines[$i] =~ s{/\*}{/** \@file $name \@details } unless $lines[$i] =~ m{/\*\s*-};
        } elsif ($next !~ $plain_next) {
            $lines[$i] =~ s{/\*}{/**};
        }
        $i = $end + 1;
        next;
    }
    if ($line !~ /^\s*#\s*(if|ifdef|ifndef|elif|else|endif|include)\b/) {
        $lines[$i] =~ s{^(.*\S.*?)/\*(?![*!])(.*\*/\s*)$}{$1/**<$2};
    }
    $i++;
}
print @lines;
