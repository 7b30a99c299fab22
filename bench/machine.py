#!/usr/bin/env python3
"""What a measurement must know of its machine: what it is called, and who else uses it.

usage: machine.py name   prints the file name of this processor's table
       machine.py idle   ends with status 1 and a line when somebody else is at work
"""

import os
import platform
import re
import resource
import sys
import time

# What others may take, in processors: of two threads measured it is a fortieth.
MOST_FOREIGN = 0.05
# By what the same additions in registers may take longer in the middle than at best.
MOST_UNSTEADY = 0.05

IDLE_SECONDS = 3


def field(cpuinfo, name):
    found = re.search(rf"^{re.escape(name)}\s*:\s*(.*)$", cpuinfo, re.MULTILINE)
    return found.group(1).strip() if found else ""


def zen(family, model):
    """The generation of an AMD processor, or None. Only those that one number tells apart."""
    if family == 25:
        return 4 if 0x10 <= model < 0x20 or 0x60 <= model < 0xB0 else 3
    return {26: 5}.get(family)


def describe(cpuinfo, architecture):
    """(what to call the processor, a file name for it) out of /proc/cpuinfo.

    Virtual machines hide the product's name; family and model still tell the kind.
    """
    name = field(cpuinfo, "model name")
    family, model = field(cpuinfo, "cpu family"), field(cpuinfo, "model")
    if name and family and model:
        generation = zen(int(family), int(model)) if "AMD" in name else None
        kind = f"zen{generation}" if generation else f"family{family}-model{model}"
        title = f"{name} (family {family}, model {model}{f', Zen {generation}' if generation else ''})"
    else:
        kind = "-".join(field(cpuinfo, f"CPU {what}") for what in ("implementer", "part"))
        title = f"{name or architecture} ({kind})"
        name = name or architecture
    # "(R)", clock rates, counts of cores and the words that every processor has say nothing.
    name = re.sub(r"\([^)]*\)|@.*|\b\d+-Core\b|\b(CPU|Processor)\b", " ", name)
    slug = re.sub(r"[^a-z0-9]+", "-", f"{name} {kind}".lower()).strip("-")
    return title, slug


def this_processor():
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            cpuinfo = file.read()
    except OSError:
        cpuinfo = ""
    return describe(cpuinfo, platform.machine())


def busy_seconds(stat):
    """Seconds that all processors together were not idle, out of /proc/stat. What a hypervisor gave
    to others counts."""
    user, nice, system, _idle, _iowait, irq, softirq, steal = map(int, stat.split()[1:9])
    return (user + nice + system + irq + softirq + steal) / os.sysconf("SC_CLK_TCK")


def read_busy_seconds():
    with open("/proc/stat", encoding="utf-8") as file:
        return busy_seconds(file.readline())


def own_seconds():
    seconds = 0.0
    for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN):
        usage = resource.getrusage(who)
        seconds += usage.ru_utime + usage.ru_stime
    return seconds


def foreign_processors(work):
    """How many processors others kept busy on average while `work()` ran and waited for its
    processes."""
    busy, own, start = read_busy_seconds(), own_seconds(), time.monotonic()
    work()
    elapsed = time.monotonic() - start
    return max(0.0, read_busy_seconds() - busy - (own_seconds() - own)) / elapsed


def complaints(foreign, unsteady=0.0):
    """Why a measurement does not count; empty when it does."""
    reasons = []
    if foreign > MOST_FOREIGN:
        reasons.append(f"others took {100 * foreign:.0f} % of a processor"
                       f" (at most {100 * MOST_FOREIGN:.0f} %)")
    if unsteady > MOST_UNSTEADY:
        reasons.append(f"additions in registers took {100 * unsteady:.0f} % longer than at best"
                       f" (at most {100 * MOST_UNSTEADY:.0f} %)")
    return reasons


def check_idle():
    foreign = foreign_processors(lambda: time.sleep(IDLE_SECONDS))
    if reasons := complaints(foreign):
        load = os.getloadavg()[0]
        sys.exit(f"The machine is loaded: {'; '.join(reasons)} in {IDLE_SECONDS} seconds; load"
                 f" average {load:.1f}. Wait, or measure all the same with --force.")


def main():
    if sys.argv[1:] == ["name"]:
        print(this_processor()[1])
    elif sys.argv[1:] == ["idle"]:
        check_idle()
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
