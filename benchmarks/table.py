"""Turns the CSV of a benchmark program into rows of docs/performance.md: each counter is a median of ratios."""
import csv
import sys

COLUMNS = {
    "kernels": ("Routine", {"of_copy": "Speed relative to memcpy", "of_plain": "Speed relative to a plain loop"}),
    "peaks": ("Resampling", {"of_walk": "Speed relative to a walk from datum to datum", "of_memory": "Speed relative to reading and writing the same memory"}),
}


def main():
    first, counters = COLUMNS[sys.argv[1]]
    lines = [line for line in sys.stdin if "," in line]
    start = next(i for i, line in enumerate(lines) if line.startswith("name,"))
    print("|", " | ".join([first, *counters.values()]), "|")
    print("|" + "---|" * (len(counters) + 1))
    for row in csv.DictReader(lines[start:]):
        if row.get("error_occurred") == "true":
            sys.exit(f"{row['name']}: {row['error_message']}")
        name = row["name"].split("/iterations:")[0]
        print("|", " | ".join([name, *(f"{float(row[counter]):.2f}" for counter in counters)]), "|")


main()
