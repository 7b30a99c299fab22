#!/usr/bin/env python3
"""Converts the images of a folder by Dask, one task a file.

    with_dask.py [--scheduler ADDRESS] IN OUT [NAME=VALUE]...

NAME=VALUE are options of kxcms convert, such as profile=scanner.icc. Without a scheduler there is a
cluster of two worker processes on this computer. A result appears under its name only when it is
complete, so that a task may be run twice, and the same command again does what is left.
"""

import argparse
import pathlib

from distributed import Client, LocalCluster, as_completed

import kxcms

SUFFIXES = {".tif", ".tiff", ".jpg", ".jpeg", ".png"}


def convert(source, target, options):
    """@return the record, or what was refused."""
    target.parent.mkdir(parents=True, exist_ok=True)
    try:
        return kxcms.convert_file(source, target, exists="skip", threads=1, **options)
    except kxcms.CommandError as error:
        if error.status < 0:  # killed: the task is worth another try
            raise
        return {"input": str(source), "status": "failed", "reason": error.message}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--scheduler")
    parser.add_argument("source", type=pathlib.Path)
    parser.add_argument("target", type=pathlib.Path)
    parser.add_argument("options", nargs="*")
    arguments = parser.parse_args()
    options = dict(option.split("=", 1) for option in arguments.options)
    source, target = arguments.source.resolve(), arguments.target.resolve()
    cluster = arguments.scheduler or LocalCluster(
        n_workers=2, threads_per_worker=1, dashboard_address=None)
    with Client(cluster) as client:
        files = [path for path in source.rglob("*") if path.suffix.lower() in SUFFIXES]
        tasks = [client.submit(convert, path, target / path.relative_to(source), options,
                               pure=False, retries=3) for path in files]
        failed = 0
        for task in as_completed(tasks):
            record = task.result()
            if record["status"] == "failed":
                failed += 1
                print(record["reason"])
        print(f"{len(files)} files, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    raise SystemExit(main())
