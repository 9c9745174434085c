# Completion of kestrel for fish: the program itself knows its commands, filters, keys and values.
function __kestrel_complete
    set -l words (commandline -opc) (commandline -ct)
    $words[1] complete -- $words[2..-1] 2>/dev/null
end
complete -c kestrel -a '(__kestrel_complete)'
