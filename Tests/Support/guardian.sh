#!/bin/sh
# Waits for the end of a test (of its standard input), then clears the mount namespace that the test
# made, and takes away whatever it attached: guardian.sh FOLDER
folder=$1
read -r _
exec 3>&1 >/dev/null 2>&1 # Its output is the lock of the machine: the next test waits for us.

# ntfs-3g must not be killed: as the last process of a namespace it would wait for itself for ever. One
# that the test has stopped would hold up umount for ever, and every sync of the machine.
for process in $(find -L /proc/[0-9]*/ns/mnt -maxdepth 0 -samefile /proc/self/ns/mnt | cut -d/ -f3); do
  case $process:$(cat "/proc/$process/comm") in
    $$:* | $PPID:*) ;;
    *:ntfs-3g) kill -CONT "$process" ;;
    *) kill -KILL "$process" ;;
  esac
done
umount -l -a -t fuseblk

# A disk is free once its driver has written everything.
for _ in 1 2 3 4 5 6 7 8 9 10; do
  disks=$(losetup -nO NAME,BACK-FILE | grep -F " $folder/") || break
  echo "$disks" | while read -r disk _; do
    partx -d "$disk"
    losetup -d "$disk"
  done
  sleep 0.5
done
while read -r node; do rm -f "$node" "${node}s1"; done <"$folder/nodes"
umount -l /etc /run /Volumes /dev/disk /dev/block "$folder"
rmdir /Volumes /dev/disk /dev/block "$folder"
