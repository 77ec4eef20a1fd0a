#!/usr/bin/env python3
"""A small Python host of lorn: opens a catalogue, indexes two columns with a
progress line, runs a query given as an expression and one built with values
that hold connectors, and shows the answers as rows, as a view with repeats
removed and as a typed DataFrame when pandas is installed.

    python3 examples/python_host.py examples/catalogue.txt "FAMILLE=OUTILS & PRIX<20"
"""

import sys

import lorn


def main(path, expression):
    with lorn.Table(path) as table:
        print(f"{path}: {len(table)} rows, text in {table.encoding}")
        for column in table.columns:
            print(f"  {column.name:<12} {column.type or '?':<4} key {column.size:>3} bytes")
        table.index("PRIX", "COULEUR",
                    progress=lambda percent, text: print(f"\r  {text} {percent}%", end=""))
        print()

        query = table.query(expression)
        print(f"{expression}: {query.count()} rows")
        for ref, label, price in query.select("REF", "LIBELLE", "PRIX")[:5]:
            print(f"  {ref:<6} {label:<24} {price:>8}")
        view = query.view("FAMILLE")
        print(f"  families: {', '.join(row[0] for row in view)}")

        # A value with a connector in it: the builder takes it as it is.
        either = table.where("COULEUR", "=", "ROUGE").or_("COULEUR", "=", "BLEU")
        print(f"red or blue: {either.count()} rows")
        try:
            frame = query.to_pandas(typed=True)
        except ImportError:
            return
        print(f"mean price of the answer: {frame['PRIX'].mean():.2f}")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip().splitlines()[-1].strip())
    try:
        main(sys.argv[1], sys.argv[2])
    except (OSError, lorn.Error) as error:
        sys.exit(f"python_host: {error}")
