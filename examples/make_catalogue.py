#!/usr/bin/env python3
"""Writes examples/catalogue.txt: a hardware-shop catalogue of 300 rows.

Windows-1252 text, TAB between cells, CR LF line ends. Cells show every form a
catalogue cell can take: single values, lists (BLEU*ROUGE), ranges with open
and closed bounds ((10..20( ), the lone wildcard (*) and empty cells.
Deterministic: the same file on every run.
"""
import random
import sys
from pathlib import Path

FAMILIES = {
    "OUTILS": ["Marteau", "Tournevis", "Clé à molette", "Pince coupante", "Scie égoïne",
               "Niveau à bulle", "Mètre ruban", "Ciseau à bois", "Râpe demi-ronde"],
    "JARDIN": ["Sécateur", "Râteau", "Bêche", "Arrosoir", "Tuyau d'arrosage", "Binette",
               "Cisaille à haie", "Brouette"],
    "PEINTURE": ["Pinceau plat", "Rouleau mousse", "Bac à peinture", "Enduit de lissage",
                 "Lasure chêne", "Vernis mat", "Peinture façade"],
    "ÉLECTRICITÉ": ["Ampoule LED", "Rallonge", "Interrupteur", "Prise étanche",
                    "Gaine électrique", "Détecteur de fumée", "Câble souple"],
    "QUINCAILLERIE": ["Vis à bois", "Chevilles", "Clous tête plate", "Charnière",
                      "Équerre", "Cadenas laiton", "Serrure à encastrer"],
}
COLOURS = ["ROUGE", "BLEU", "VERT", "NOIR", "BLANC", "JAUNE", "GRIS", "ORANGE"]
SUPPLIERS = ["Dupré", "Lefèvre", "Gauthier", "Müller", "Bérard", "Océane"]


def colour_cell(rng):
    r = rng.random()
    if r < 0.10:
        return ""
    if r < 0.18:
        return "*"
    if r < 0.45:
        return "*".join(rng.sample(COLOURS, rng.randint(2, 3)))
    return rng.choice(COLOURS)


def size_cell(rng):
    r = rng.random()
    if r < 0.15:
        return ""
    if r < 0.22:
        return "*"
    if r < 0.60:
        low = rng.randint(1, 40) * 5
        high = low + rng.randint(1, 20) * 5
        left = rng.choice("()")
        right = rng.choice("()")
        return f"{left}{low}..{high}{right}"
    return str(rng.randint(1, 60) * 5)


def main():
    rng = random.Random(1998)
    rows = ["REF\tLIBELLE\tFAMILLE\tPRIX\tSTOCK\tCOULEUR\tTAILLE\tFOURNISSEUR"]
    families = sorted(FAMILIES)
    for n in range(300):
        family = rng.choice(families)
        label = rng.choice(FAMILIES[family])
        ref = f"{family[0] if family[0] != 'É' else 'E'}{n + 1:03d}"
        price = f"{rng.randint(1, 250)}.{rng.randint(0, 99):02d}"
        stock = "" if rng.random() < 0.05 else str(rng.randint(0, 500))
        supplier = rng.choice(SUPPLIERS)
        if rng.random() < 0.1:
            supplier = "*".join(rng.sample(SUPPLIERS, 2))
        rows.append("\t".join([ref, label, family, price, stock, colour_cell(rng),
                               size_cell(rng), supplier]))
    data = ("\r\n".join(rows) + "\r\n").encode("cp1252")
    out = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).with_name("catalogue.txt")
    out.write_bytes(data)


if __name__ == "__main__":
    main()
