# fish completion for w64. Commands and options come from the program's own help.

# The command on the line so far, one or two words
function __w64_command
    set -l command
    for word in (commandline -opc)[2..-1]
        test $word = help; and continue # is followed by the same as w64
        __w64_commands $command | string match -qr "^$word\t"; and set -a command $word
    end
    string join \n -- $command
end

# The subcommands of a command, as name, tab, description
function __w64_commands
    w64 $argv --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]\{1,\}\)  *\(.*\)/\1\t\2/p'
end

# The options of the command, likewise; a short name has its own line
function __w64_options
    begin
        w64 --help 2>/dev/null
        w64 (__w64_command) --help 2>/dev/null
    end | sed -nE 's/^  (-[a-z],)?(--[a-z-]+)[^ ]*( [A-Z][^ ]*)?( {2,}(.*))?$/\1\2\t\5/p' |
        sed -E 's/^(-[a-z]),(--[a-z-]*)(\t.*)/\1\3\n\2\3/' | sort -u
end

# The names of tags, each with "=" for a value
function __w64_names
    w64 (__w64_command) --help 2>/dev/null |
        awk -F '  +' '/^$/ { on = 0 } on { for (i = 2; i <= NF; i++) print $i "=" } /^Names:/ { on = 1 }'
end

function __w64_follows
    contains -- (commandline -opc)[-1] $argv
end

complete -c w64 -n 'test (count (__w64_command)) = 0; and not __w64_follows --trace --plugin' -f # no files
complete -c w64 -n 'string match -q -- "-*" (commandline -ct)' -a '(__w64_options)'
complete -c w64 -n 'not __w64_follows --format --bits' -a '(__w64_commands (__w64_command))'
complete -c w64 -n 'not __w64_follows set --format --bits; and not string match -q -- "-*" (commandline -ct)' \
    -a '(__w64_names)'
complete -c w64 -n '__w64_follows --format' -f -a 'wav flac aiff caf ogg opus mp3 raw'
complete -c w64 -n '__w64_follows --bits' -f -a '8 16 24 32 64'
