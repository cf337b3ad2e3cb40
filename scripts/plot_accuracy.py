#!/usr/bin/python3
"""Plots the error distribution of each family from the histograms that
kelvm_accuracy_report writes (one CSV per family: function, lower, upper,
count) into one PNG per family."""
import csv
import glob
import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


def main(data_dir, out_dir):
    for path in sorted(glob.glob(os.path.join(data_dir, "*.csv"))):
        family = os.path.splitext(os.path.basename(path))[0]
        series = {}
        with open(path) as f:
            for row in csv.DictReader(f):
                series.setdefault(row["function"], []).append(
                    (float(row["lower"]), float(row["upper"]), int(row["count"])))
        fig, ax = plt.subplots(figsize=(8, 4.5), dpi=100)
        top = 0.5
        for name, bins in series.items():
            total = sum(c for _, _, c in bins)
            xs, ys = [], []
            for lo, hi, c in bins:
                hi = hi if hi != float("inf") else lo * 2
                xs += [lo, hi]
                ys += [c / total, c / total]
                top = max(top, hi)
            ax.step(xs, ys, where="post", label=name)
        ax.set_yscale("log")
        if top > 8:
            ax.set_xscale("symlog", linthresh=1)
        ax.set_xlim(0, top)
        ax.set_xlabel("error (ulp)")
        ax.set_ylabel("fraction of inputs per bin")
        ax.set_title(f"{family}: error distribution")
        ax.grid(True, which="both", alpha=0.3)
        ax.legend(fontsize=8)
        fig.tight_layout()
        fig.savefig(os.path.join(out_dir, family + ".png"), metadata={"Software": None})
        plt.close(fig)
        print(f"wrote {os.path.join(out_dir, family + '.png')}")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
