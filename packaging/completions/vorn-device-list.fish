# Completion of vorn-device-list for fish.

complete -c vorn-device-list -f
complete -c vorn-device-list -l wait -x -d 'The time to look before printing, in seconds'
complete -c vorn-device-list -l watch -d 'Continue until interrupted and show every change'
complete -c vorn-device-list -l format -x -a 'table json csv openmetrics' -d 'Print in this format'
complete -c vorn-device-list -l json -d 'The same as --format json'
complete -c vorn-device-list -l output -r -F -d 'Write into this file'
complete -c vorn-device-list -l no-switches -d 'Do not list switches'
complete -c vorn-device-list -l offline -d 'Do not ask the update server'
complete -c vorn-device-list -l interfaces -d 'Print this computer\'s network interfaces'
complete -c vorn-device-list -s h -l help -d 'Print a short text'
complete -c vorn-device-list -s V -l version -d 'Print the version'
