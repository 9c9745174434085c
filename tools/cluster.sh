#!/bin/sh
# usage: cluster.sh BUILD FOLDER. Brings up a Slurm of one node in FOLDER, for this user and on this machine's loopback
# only, sends 200 pictures through the array job of docs/many-pictures.md, and compares its pictures with those of one
# run. BUILD is the build folder with the programs.
set -eu
build=$1
folder=$2
docs=$PWD/docs/many-pictures.md
export PATH="$build/apps/kestrel:$PATH:/usr/sbin"
cores=$(nproc)
tasks=$((cores < 4 ? cores : 4))

rm -rf "$folder"
mkdir -p "$folder/state" "$folder/spool" "$folder/photos"
cd "$folder"
echo 'making 200 pictures' >&2
"$build/tools/make_sample" 1200 800 sample.jpg
for i in $(seq 200); do kestrel apply sample.jpg "photos/$i.jpg" --region "$i,0,1000,800"; done
kestrel apply photos/1.jpg first.jpg -f Exposure:Red=010 -f Sharpen --print-chain active >look.txt

sed -n '/^#SBATCH/,/^```/p' "$docs" | sed '1i #!/bin/bash
    /^```/d' >array.sh

user=$(id -un)
host=$(hostname)
cat >slurm.conf <<CONF
ClusterName=kestrel
SlurmctldHost=$host(127.0.0.1)
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/none
CredType=cred/none
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
SlurmctldPort=26817
SlurmdPort=26818
StateSaveLocation=$PWD/state
SlurmdSpoolDir=$PWD/spool
SlurmctldPidFile=$PWD/slurmctld.pid
SlurmdPidFile=$PWD/slurmd.pid
SlurmctldLogFile=$PWD/slurmctld.log
SlurmdLogFile=$PWD/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SwitchType=switch/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
NodeName=$host NodeAddr=127.0.0.1 CPUs=$cores State=UNKNOWN
PartitionName=all Nodes=$host Default=YES State=UP
CONF
export SLURM_CONF="$PWD/slurm.conf"
stop() {
    for daemon in slurmd slurmctld; do
        if [ -s "$daemon.pid" ]; then
            pid=$(cat "$daemon.pid")
            kill "$pid" 2>/dev/null || true
            timeout 20 tail --pid="$pid" -f /dev/null
        fi
    done
}
trap stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
slurmctld -c
slurmd -c
for i in $(seq 60); do
    [ "$(sinfo -h -o %T 2>/dev/null)" = idle ] && break
    [ "$i" -lt 60 ] || {
        echo "cluster: the node does not come up; the logs are in $folder" >&2
        exit 1
    }
    sleep 0.5
done
sinfo

begin=$(date +%s%N)
sbatch --wait --array="1-$tasks" --cpus-per-task=1 --mem=0 --output='task-%a.log' array.sh || {
    cat task-*.log >&2
    exit 1
}
end=$(date +%s%N)
mv out array
kestrel apply photos --recursive -o 'out/{dir}/{stem}.jpg' --chain look.txt --jobs "$tasks" 2>one.log
end_one=$(date +%s%N)
diff -r array out
echo "$(find array -type f | wc -l) pictures by $tasks tasks of an array: $(((end - begin) / 1000000)) ms; by one" \
    "process with $tasks jobs: $(((end_one - end) / 1000000)) ms; the same bytes"
