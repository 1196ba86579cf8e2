#!/bin/sh
# A host: at noon the shade of the lobby goes half way down. If no answer comes, it tries again.
for attempt in 1 2 3; do
    vox goto 000101 50% --wait && exit
done
exit 1
