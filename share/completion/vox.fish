# Completion of vox for fish.
function __vox_complete
    set -l words (commandline -opc)
    $words[1] complete $words[2..-1] (commandline -ct) 2>/dev/null
end
complete -c vox -a '(__vox_complete)'
