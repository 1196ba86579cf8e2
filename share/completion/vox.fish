# Completion of vox for fish.
function __vox_complete
    set -l words (commandline -opc)
    # It fails where a file belongs.
    $words[1] complete $words[2..-1] (commandline -ct) 2>/dev/null
    or __fish_complete_path (commandline -ct)
end
complete -c vox -f -a '(__vox_complete)'
