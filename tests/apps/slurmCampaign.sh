#!/usr/bin/env bash
# A campaign on a real single-node Slurm cluster started here: munged,
# slurmctld and slurmd with a private configuration in a temporary folder.
# Six synthetic projects run as a job array two at a time, one of them
# broken on purpose. The five others must equal, byte for byte, the same
# projects converted by `tamble convert` in one process each;
# `tamble campaign-status` must name the broken one and why; after mending
# it, `--only-missing` must convert that one and touch nothing else.
#
# Usage: slurmCampaign.sh TAMBLE. Exit 77 (ctest's "skipped") with the
# reason on the first line when Slurm cannot run here.
set -uo pipefail

tamble=$(realpath "$1")
skip() {
  echo "SKIPPED: the Slurm campaign test did not run: $*"
  exit 77
}
fail() {
  echo "FAILED: $*"
  exit 1
}

[[ $(id -u) -eq 0 ]] || skip "slurmd must run as root to start jobs, and this is user $(id -un)"
for program in munged mungekey slurmctld slurmd sbatch squeue sinfo; do
  command -v "$program" >/dev/null ||
    skip "'$program' is not installed (scripts/setup installs slurmctld, slurmd, slurm-client and munge)"
done

work=$(mktemp -d /tmp/tamble-slurm-XXXXXX)
chmod 755 "$work" # munged wants its socket's folder open to all
# Stops what this script started, whatever happened, then removes the folder.
stopDaemons() {
  local name pid
  # Jobs still running first: their slurmstepd would outlive slurmd. The
  # cluster is this script's own, so every job in it is one of ours.
  if [[ -f "$work/slurmctld.pid" ]]; then
    scancel --quiet --user="$(id -un)" 2>/dev/null
    for _ in $(seq 50); do [[ -z $(squeue -h 2>/dev/null) ]] && break; sleep 0.2; done
  fi
  for name in slurmd slurmctld munged; do
    pid=$(cat "$work/$name.pid" 2>/dev/null) || continue
    kill "$pid" 2>/dev/null
    for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null
  done
  [[ -n "${KEEP_SLURM_TEST:-}" ]] && echo "kept $work" || rm -rf "$work"
}
trap stopDaemons EXIT
trap 'exit 1' INT TERM

# Two free TCP ports for the controller and the node daemon.
freePort() {
  local port
  for _ in $(seq 100); do
    port=$((20000 + RANDOM % 40000))
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || { echo "$port"; return; }
  done
  return 1
}
ctldPort=$(freePort) && nodePort=$(freePort) || skip "no free TCP port found"
[[ $ctldPort != "$nodePort" ]] || nodePort=$((ctldPort + 1))

mungekey --create --keyfile="$work/munge.key" || skip "mungekey could not make a key"
chmod 400 "$work/munge.key"
munged --key-file="$work/munge.key" --socket="$work/munge.socket" \
  --pid-file="$work/munged.pid" --log-file="$work/munged.log" --seed-file="$work/munged.seed" ||
  skip "munged did not start: $(tail -n 1 "$work/munged.log" 2>/dev/null)"

mkdir -p "$work/state" "$work/spool"
node=$(slurmd -C | head -n 1) # this machine's CPUs and memory, as slurmd sees them
export SLURM_CONF="$work/slurm.conf"
cat >"$SLURM_CONF" <<EOF
ClusterName=tambletest
SlurmctldHost=localhost
SlurmctldPort=$ctldPort
SlurmdPort=$nodePort
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
CredType=cred/munge
AuthInfo=socket=$work/munge.socket
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/slurmctld.log
SlurmdLogFile=$work/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerType=sched/backfill
MpiDefault=none
ReturnToService=2
$node NodeAddr=127.0.0.1 State=UNKNOWN
PartitionName=tamble Nodes=ALL Default=YES MaxTime=INFINITE State=UP
EOF
slurmctld -f "$SLURM_CONF" || skip "slurmctld did not start: $(tail -n 2 "$work/slurmctld.log" 2>/dev/null)"
slurmd -f "$SLURM_CONF" || skip "slurmd did not start: $(tail -n 2 "$work/slurmd.log" 2>/dev/null)"
for _ in $(seq 150); do
  [[ $(sinfo -h -o %T 2>/dev/null) == idle ]] && break
  sleep 0.2
done
[[ $(sinfo -h -o %T 2>/dev/null) == idle ]] ||
  skip "the node did not become idle in 30 s: $(sinfo -h -o '%T %E' 2>&1); $(tail -n 2 "$work/slurmd.log")"
echo "slurm: controller on port $ctldPort, node $(sinfo -h -o '%N %c CPUs') idle"

# Waits (at most 90 s) until the job has left the queue; every wait is
# bounded so that the trap runs before ctest's own time limit.
waitForJob() {
  for _ in $(seq 450); do
    [[ -z $(squeue -h -j "$1" 2>/dev/null) ]] && return 0
    sleep 0.2
  done
  fail "job $1 still queued after 90 s: $(squeue -j "$1")"
}

# Every file of a folder with its inode and time: a rewrite, even with the
# same bytes, changes the inode (files are renamed into place).
listing() { (cd "$1" && find . -type f -printf '%p %i %T@\n' | sort); }

export TAMBLE_STORE="$work/store.ini" TAMBLE_LOG=""
words=(FillMark.m_diameter=9) # reaches every task through its command line
campaign="$work/campaign"
mkdir -p "$campaign" "$work/truth" "$work/pristine"
: >"$campaign/runs.txt"
for i in 1 2 3 4 5 6; do
  "$tamble" synth "$campaign/p$i" size=256 markers=24 seed="$i" >/dev/null || fail "synth p$i"
  cp -r "$campaign/p$i" "$work/truth/p$i"
  echo "p$i/run.vur" >>"$campaign/runs.txt"
done
mv "$campaign/p4/wind_on_sens.tif" "$work/pristine/" # the broken project
broken=$(listing "$campaign/p4")

# The script asks for the array with its throttle.
"$tamble" convert --list "$campaign/runs.txt" --slurm --max-parallel 2 --dry-run "${words[@]}" \
  >"$work/dry.sh" 2>/dev/null || fail "the dry run failed"
grep -qx '#SBATCH --array=0-5%2' "$work/dry.sh" || fail "no 6-task array 2 at a time in: $(cat "$work/dry.sh")"

job=$("$tamble" convert --list "$campaign/runs.txt" --slurm --max-parallel 2 "${words[@]}") ||
  fail "submission failed"
[[ $job =~ ^[0-9]+$ ]] || fail "'$job' is not a job id"
echo "slurm: job $job submitted"
waitForJob "$job"

# The truth: each project converted in one process, on its own store copy.
for i in 1 2 3 4 5 6; do
  rm -f "$work/truth-store.ini"
  TAMBLE_STORE="$work/truth-store.ini" "$tamble" convert "$work/truth/p$i/run.vur" "${words[@]}" \
    >/dev/null || fail "the one-process conversion of p$i failed"
done
# Byte for byte, but for the time a marker file was written, in its second
# line; the task's log and report are the campaign's own.
sameAsTruth() {
  diff -r -I '^<!--[0-9: -]*-->$' --exclude=run.campaign.log --exclude=run.report.txt "$work/truth/$1" "$campaign/$1" ||
    fail "$1 converted by the campaign differs from its one-process conversion"
}

status=$("$tamble" campaign-status "$campaign/runs.txt" 2>&1) && fail "status 0 with a failed project: $status"
echo "$status"
for i in 1 2 3 5 6; do
  grep -q "^done  *$campaign/p$i/run.vur\$" <<<"$status" || fail "p$i is not done"
  sameAsTruth "p$i"
done
grep -q "^FAILED  *$campaign/p4/run.vur: .*wind_on_sens.tif: file not found" <<<"$status" ||
  fail "the broken p4 is not reported with its reason"
[[ $(listing "$campaign/p4" | grep -v run.campaign.log) == "$broken" ]] ||
  fail "the failed task changed its project's files"

# Mended, and run again: only p4 is submitted, and nothing else changes.
mv "$work/pristine/wind_on_sens.tif" "$campaign/p4/"
before=$(for i in 1 2 3 5 6; do listing "$campaign/p$i"; done)
job=$("$tamble" convert --list "$campaign/runs.txt" --slurm --only-missing "${words[@]}") ||
  fail "the second submission failed"
script=$(ls -t "$campaign"/runs.campaign/campaign-*.sh | head -n 1)
grep -qx '#SBATCH --array=0' "$script" || fail "--only-missing did not submit one task: $(cat "$script")"
waitForJob "$job"
after=$(for i in 1 2 3 5 6; do listing "$campaign/p$i"; done)
[[ $before == "$after" ]] || fail "--only-missing touched projects that were done"
status=$("$tamble" campaign-status "$campaign/runs.txt" 2>&1) || fail "not all done after mending: $status"
echo "$status"
sameAsTruth p4
echo "PASSED: 6 projects in a Slurm job array, the broken one reported, mended and converted alone"
