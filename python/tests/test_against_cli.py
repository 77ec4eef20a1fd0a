"""The Python answers against the lorn command's, on a random table."""

import os
import random
import subprocess

import pytest

import lorn
from conftest import write_table

CLI = os.environ.get("LORN_CLI")


def cli(*args, walk=False):
    options = ["-q", "--utf8"] + (["--walk"] if walk else [])
    result = subprocess.run([CLI, *options, *args], capture_output=True, text=True)
    assert result.returncode in (0, 1), result.stderr
    return result.stdout.splitlines()


@pytest.mark.skipif(not CLI, reason="the lorn command is not built")
def test_random_queries_agree_with_the_command(tmp_path):
    rng = random.Random(20)
    words = ["BLEU", "ROUGE", "VERT", "Été", "noir", "GRIS"]

    def color():
        pick = rng.random()
        if pick < 0.1:
            return "*"
        if pick < 0.2:
            return ""
        return "*".join(sorted(set(rng.sample(words, rng.randint(1, 3)))))

    rows = [(f"R{i:03d}", str(rng.randint(-50, 50)), f"{rng.uniform(0, 100):.2f}", color())
            for i in range(400)]
    path = write_table(tmp_path / "r.txt", ("REF", "NUM", "PRIX", "COULEUR"), rows)
    # The command works on a copy: an open table holds its sidecar.
    (tmp_path / "cli").mkdir()
    copy = write_table(tmp_path / "cli" / "r.txt", ("REF", "NUM", "PRIX", "COULEUR"), rows)
    ops = ["=", "<", "<=", ">", ">=", "!=", "<>"]
    values = {"REF": lambda: rng.choice([f"R{rng.randint(0, 399):03d}", "R1*", "R0?5"]),
              "NUM": lambda: str(rng.randint(-60, 60)),
              "PRIX": lambda: f"{rng.uniform(0, 100):.1f}",
              "COULEUR": lambda: rng.choice(words + ["B*"])}
    with lorn.Table(path) as table:
        for number in range(60):
            parts = []
            for i in range(rng.randint(1, 3)):
                column = rng.choice(list(values))
                connector = "" if i == 0 else rng.choice([" & ", " | "])
                parts.append(f"{connector}{column}{rng.choice(ops)}{values[column]()}")
            expression = "".join(parts)
            # Every third query by the index walk, on both sides.
            walk = number % 3 == 2
            expected = [int(line.split("\t")[0]) for line in
                        cli("query", copy, expression, "--row-numbers", "--select", "REF",
                            walk=walk)[1:]]
            lorn.configure(exact_search=not walk)
            try:
                assert table.query(expression).row_numbers() == expected, (expression, walk)
            finally:
                lorn.configure(exact_search=True)
        assert table.values("COULEUR") == cli("values", copy, "COULEUR")
        view = table.query("NUM>0").view("COULEUR")
        assert [row[0] for row in view] == cli("query", copy, "NUM>0", "--columns", "COULEUR")[1:]
