"""The report in docs/ is the one that the command writes today of the sample scanner's profile.

With --regen the report is written anew. Environment: KXCMS (the command), KXCMS_SAMPLE (the sample
generator).
"""

import os
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SHOWN = os.path.join(ROOT, "docs", "sample-report.html")


def main():
    with tempfile.TemporaryDirectory(prefix="kxcms-report-") as folder:
        subprocess.run([os.environ["KXCMS_SAMPLE"], "make", folder], check=True,
                       stdout=subprocess.DEVNULL)
        page = os.path.join(folder, "page.html")
        subprocess.run([os.environ["KXCMS"], "report", os.path.join(folder, "scanner.icc"), "-o",
                        page], check=True)
        if "--regen" in sys.argv[1:]:
            shutil.copyfile(page, SHOWN)
            return 0
        with open(page, "rb") as made, open(SHOWN, "rb") as shown:
            if made.read() == shown.read():
                return 0
    print("docs/sample-report.html is out of date: build the target regen-report")
    return 1


if __name__ == "__main__":
    sys.exit(main())
