# fish completion for parlen-mac-vm.
# Generated from the program's table of subcommands by scripts/generate-completions.

complete -c parlen-mac-vm -f
complete -c parlen-mac-vm -n __fish_use_subcommand -a create -d 'create a guest from a restore image'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from create' -l ipsw -r -F -d 'the restore image'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from create' -l bundle -x -a '(__fish_complete_directories)' -d 'the new guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from create' -l disk-gb -x -d 'the size of its disk in GiB'
complete -c parlen-mac-vm -n __fish_use_subcommand -a run -d 'start a guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from run' -l bundle -x -a '(__fish_complete_directories)' -d 'the guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from run' -l gui -d 'show it in a window'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from run' -l share -x -a '(__fish_complete_directories)' -d 'a folder that it may read'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from run' -l logs-share -x -a '(__fish_complete_directories)' -d 'a folder that it may write'
complete -c parlen-mac-vm -n __fish_use_subcommand -a clone -d 'copy a guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from clone' -l from -x -a '(__fish_complete_directories)' -d 'the guest to copy'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from clone' -l to -x -a '(__fish_complete_directories)' -d 'the new guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from clone' -l regenerate-machine-id -d 'give the copy an identifier of its own'
complete -c parlen-mac-vm -n __fish_use_subcommand -a status -d 'report on a guest'
complete -c parlen-mac-vm -n '__fish_seen_subcommand_from status' -l bundle -x -a '(__fish_complete_directories)' -d 'the guest'
