#!/usr/bin/env python3
"""The examples of docs/many-computers.md, by the engines that they are for, on this computer: a worker is
killed in the middle, and nothing is lost.

Environment: KXCMS (the command), KXCMS_FAULTS (the library that kills at a call), KXPIPELINE (the
library, for Python).
"""

import glob
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "tools"))
import profiles  # noqa: E402
import surroundings  # noqa: E402
from tiffs import tiff  # noqa: E402

KXCMS = os.environ["KXCMS"]
EXAMPLES = os.path.join(ROOT, "examples", "batch")
FILES = 40

# Stands in for the command: the call that takes the file `killed` away is killed half way.
WRAPPER = """#!/bin/bash
if rm "{folder}/killed" 2>/dev/null; then
  export LD_PRELOAD="{faults}" KXCMS_FAULT=change:{nth}:kill
fi
exec "{kxcms}" "$@"
"""


class Engine(unittest.TestCase):
    """A folder of scans, what they become by one batch, and a command in PATH that is killed once."""

    nth = 6  # of the calls that change the file system, the one where it is killed

    def setUp(self):
        # Daemons that give up root have to get in.
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        os.chmod(self.folder, 0o755)
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.profile = self.path("scan.icc")
        with open(self.profile, "wb") as file:
            file.write(profiles.scanner(points=9))
        for i in range(FILES):
            name = self.path("in", f"{i % 3} of 3", f"{i}.tif")
            os.makedirs(os.path.dirname(name), exist_ok=True)
            with open(name, "wb") as file:
                file.write(tiff(width=40 + i, length=30))
        os.mkdir(self.path("bin"))
        with open(self.path("bin", "kxcms"), "w", encoding="utf-8") as wrapper:
            wrapper.write(WRAPPER.format(folder=self.folder, kxcms=KXCMS, nth=self.nth,
                                         faults=os.environ.get("KXCMS_FAULTS", "")))
        os.chmod(self.path("bin", "kxcms"), 0o755)
        self.environment = {**os.environ, "PATH": self.path("bin") + ":" + os.environ["PATH"],
                            "PYTHONPATH": os.path.join(ROOT, "bindings", "python"),
                            "KXCMS_LIBRARY": os.environ["KXPIPELINE"]}
        subprocess.run([KXCMS, "batch", "--quiet", "--from", self.path("in"), "--to-dir",
                        self.path("right"), "--journal", self.path("j"), "--profile",
                        self.profile], check=True)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def to_be_killed(self):
        with open(self.path("killed"), "wb"):
            pass

    def expect_killed(self):
        self.assertFalse(os.path.exists(self.path("killed")))

    def files(self, folder):
        found = {}
        for name in glob.glob("**/*.tif", root_dir=self.path(folder), recursive=True):
            with open(self.path(folder, name), "rb") as file:
                found[name] = file.read()
        return found

    def expect_all(self):
        self.assertEqual(len(self.files("right")), FILES)
        self.assertEqual(self.files("out"), self.files("right"))


class Parallel(Engine):
    def test_a_process_killed(self):
        if shutil.which("parallel") is None:
            self.skipTest("GNU parallel is not installed")
        self.to_be_killed()
        done = subprocess.run([os.path.join(EXAMPLES, "with_parallel.sh"), self.path("in"),
                               self.path("out"), "--profile", self.profile],
                              env=self.environment, capture_output=True, timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.expect_killed()
        self.expect_all()


SLURM_CONF = """
ClusterName=test
SlurmctldHost={host}(127.0.0.1)
AuthType=auth/munge
AuthInfo=socket={folder}/munge/socket
CredType=cred/munge
SlurmUser=root
SlurmdUser=root
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
StateSaveLocation={folder}
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
JobAcctGatherType=jobacct_gather/none
MpiDefault=none
NodeName={host} NodeAddr=127.0.0.1 CPUs=2 RealMemory=100 State=UNKNOWN
PartitionName=all Nodes={host} Default=YES MaxTime=INFINITE State=UP
"""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for one in sockets:
        one.bind(("127.0.0.1", 0))
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


class Slurm(Engine):
    SHARDS = 3

    def start_cluster(self):
        """Brings up a cluster of one node that nobody else sees."""
        if shutil.which("sbatch") is None or os.geteuid() != 0:
            self.skipTest("Slurm is not installed, or this is not root")
        host = socket.gethostname().split(".")[0]
        for name in ("slurm", "slurm/munge", "slurm/spool"):
            os.mkdir(self.path(name))
        key = self.path("slurm/munge/key")
        with open(key, "wb") as file:
            file.write(os.urandom(1024))
        os.chmod(key, 0o400)
        conf = self.path("slurm/slurm.conf")
        with open(conf, "w", encoding="utf-8") as file:
            file.write(SLURM_CONF.format(host=host, folder=self.path("slurm"), ports=free_ports(2)))
        self.environment["SLURM_CONF"] = conf
        subprocess.run(["chown", "-R", "munge:", self.path("slurm/munge")], check=True)
        self.daemon("slurm/munge/pid", "runuser", "-u", "munge", "--", "/usr/sbin/munged",
                    f"--key-file={key}",
                    *[f"--{what}={self.path('slurm/munge', name)}"
                      for what, name in (("socket", "socket"), ("pid-file", "pid"),
                                         ("log-file", "log"), ("seed-file", "seed"))])
        self.daemon("slurm/slurmctld.pid", "/usr/sbin/slurmctld", "-f", conf)
        self.daemon("slurm/slurmd.pid", "/usr/sbin/slurmd", "-f", conf, "-N", host)
        for _ in range(100):
            nodes = subprocess.run(["sinfo", "--noheader", "--format=%t"], env=self.environment,
                                   capture_output=True, text=True)
            if nodes.stdout.strip() == "idle":
                return
            time.sleep(0.2)
        self.skipTest(f"Slurm does not come up here: {nodes.stdout} {nodes.stderr}")

    def daemon(self, pid_file, *command):
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True)
        if done.returncode != 0:
            self.skipTest(f"{command[0]} does not start: {done.stderr}")
        self.addCleanup(self.stop, pid_file)

    def stop(self, pid_file):
        try:
            with open(self.path(pid_file), encoding="utf-8") as file:
                pid = int(file.read())
            os.kill(pid, signal.SIGTERM)
            for _ in range(50):
                os.kill(pid, 0)
                time.sleep(0.1)
        except (OSError, ValueError):
            pass  # gone

    def submit(self):
        return subprocess.run(
            ["sbatch", "--wait", f"--array=0-{self.SHARDS - 1}", "--output",
             self.path("slurm", "task-%a.out"), os.path.join(EXAMPLES, "with_slurm.sh"),
             self.path("in"), self.path("out"), "--profile", self.profile],
            env=self.environment, capture_output=True, timeout=200)

    nth = 40

    def test_a_task_killed(self):
        self.start_cluster()
        self.to_be_killed()
        self.assertNotEqual(self.submit().returncode, 0)
        self.expect_killed()
        self.assertLess(len(self.files("out")), FILES)
        done = self.submit()
        self.assertEqual(done.returncode, 0, done.stderr)
        self.expect_all()
        journals = sorted(glob.glob(self.path("out", "kxcms-journal-*-of-3.jsonl")))
        self.assertEqual(len(journals), self.SHARDS)
        done = subprocess.run([KXCMS, "verify", "--rehash", *journals], capture_output=True)
        self.assertEqual((done.returncode, done.stdout), (0, b"%d good\n" % FILES))


class Dask(Engine):
    def test_a_worker_killed(self):
        if surroundings.refusal("/usr/bin/python3", "-c", "import distributed") is not None:
            self.skipTest("python3-distributed is not installed")
        # The command that is killed takes its worker with it, as a computer that goes away would.
        with open(self.path("bin", "kxcms"), "w", encoding="utf-8") as wrapper:
            wrapper.write(f'#!/bin/bash\nif rm "{self.path("killed")}" 2>/dev/null; then\n'
                          f'  kill -KILL $PPID; exit 1\nfi\nexec "{KXCMS}" "$@"\n')
        self.to_be_killed()
        done = subprocess.run(["/usr/bin/python3", os.path.join(EXAMPLES, "with_dask.py"),
                               self.path("in"), self.path("out"), f"profile={self.profile}"],
                              env=self.environment, capture_output=True, timeout=200)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn(f"{FILES} files, 0 failed".encode(), done.stdout)
        self.expect_killed()
        self.expect_all()


if __name__ == "__main__":
    surroundings.main(verbosity=2)
