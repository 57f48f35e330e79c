#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes OUTDIR/tree: 10,000 text files in 500 folders, about 200 MB, always the same, to be searched.

usage: gen_tree.py OUTDIR

    zyzzyvaquark                once in each of 7 files
    window                      an ordinary member of the vocabulary
    Harbour, HARBOUR, harbour   one word in three spellings
"""
import os, random, sys
SEED = 20240611
BASE = ("the of and to in is that it was for on are as with his they at be this from have or by one had not but what all were when we there can an your "
        "which their said if do will each about how up out them then she many some so these would other into has more her two like him see time could no make than first been its who now people my made over did down only way find use may water long little very after words called just where most know get through back much go good new write our me man too any day same right look think also around another came come work three must because does part even place well such here take why help put different away again off went old number great tell men say small every found still between name should home big give air line set own under read last never us left end along while might next sound below saw something thought both few those always show large often together asked house world going want school important until form food keep children feet land side without boy once animal life enough took four head above kind began almost live page got earth need far hand high year mother light country father let night picture being study second soon story since white ever paper hard near sentence better best across during today however sure knew it's try told young sun thing whole hear example heard several change answer room sea against top turned learn point city play toward five himself usually money seen car morning given order red door window ground table river measure remember early waves reached listen wind rock space covered fast hold step passed vowel true hundred pattern numeral harbour north slowly map farm pulled draw voice seen cold cried plan notice south sing war fall king town unit figure certain field travel wood fire upon").split()
RNG = random.Random(SEED)
SYL = "ba be bi bo bu ca ce ci co cu da de di do du fa fe fi fo ga go ha he hi ho ja jo ka ke ki ko la le li lo lu ma me mi mo mu na ne ni no nu pa pe pi po ra re ri ro ru sa se si so su ta te ti to tu va ve vi vo wa we wi xa za ze zi".split()
VOC = BASE + ["".join(RNG.choice(SYL) for _ in range(RNG.randint(2, 5))) for _ in range(4000)]
W = [1.0 / (i + 3) for i in range(len(VOC))]
CUM = []
_s = 0
for w in W: _s += w; CUM.append(_s)

def words(r, n): return r.choices(VOC, cum_weights=CUM, k=n)
def prose_line(r):
    s = " ".join(words(r, r.randint(3, 16)))
    c = r.random()
    if c < .08: s = s.capitalize() + "."
    if c > .97: s = s.replace("harbour", r.choice(["Harbour", "HARBOUR", "harbour"]))
    if c < .004: s += " naïve café – “Zürich” Ελλάδα 東京 😀"
    return s
def md_line(r):
    c = r.random()
    if c < .03: return "#" * r.randint(1, 4) + " " + " ".join(words(r, 4)).title()
    if c < .12: return "- " + prose_line(r)
    if c < .16: return "> " + prose_line(r)
    if c < .20: return "Some **" + r.choice(VOC) + "** and *" + r.choice(VOC) + "* with `" + r.choice(VOC) + "` and [link](https://example.org/" + r.choice(VOC) + ")"
    if c < .205: return "```\nint " + r.choice(VOC) + " = " + str(r.randint(0, 999)) + ";\n```"
    if c < .26: return ""
    return prose_line(r)
def cpp_line(r):
    c = r.random(); a, b, d = r.choice(VOC), r.choice(VOC), r.choice(VOC)
    if c < .08: return "// " + prose_line(r)
    if c < .16: return f"static int {a}_{b}(const char *{d}, unsigned n) {{\n    if (n == {r.randint(0,999)}u) {{ return -1; }}\n    return {b}({d}) + 0x{r.randint(0,65535):x};\n}}"
    if c < .30: return f'    const std::string {a} = "{b} {d}\\n";'
    if c < .36: return f"#include <{a}/{b}.h>"
    if c < .42: return f"/* {prose_line(r)} */"
    if c < .50: return ""
    return f"    auto {a} = {b}->{d}({r.randint(0,99999)}, '{a[0]}', {r.random():.4f});"
def py_line(r):
    c = r.random(); a, b, d = r.choice(VOC), r.choice(VOC), r.choice(VOC)
    a, b, d = (x.replace("'", "") for x in (a, b, d))
    if c < .08: return "# " + prose_line(r)
    if c < .16: return f"def {a}_{b}({d}, n=None):\n    \"\"\"{b} {d}\"\"\"\n    if n is None:\n        return {d}"
    if c < .30: return f"    {a}_x = '{b} {d}'"
    if c < .36: return f"from {a}.x import {b}_y as {d}_z"
    if c < .44: return ""
    return f"    {a}_v = {b}_w.{d}_u({r.randint(0,99999)}, [{r.random():.4f}, True])"
def block(kind, size, seed):
    r = random.Random(seed); f = dict(txt=prose_line, md=md_line, cpp=cpp_line, py=py_line)[kind]
    out = []; n = 0
    while n < size:
        l = f(r) + "\n"; b = l.encode(); out.append(b); n += len(b)
    return b"".join(out)
def tree(out):
    root = f"{out}/tree"; r = random.Random(SEED + 99)
    rare = set(r.sample(range(10000), 7)); total = 0
    for i in range(10000):
        d = f"{root}/{i // 1000:02d}-{VOC[300 + i // 1000]}/{(i // 20) % 50:02d}"
        if i % 20 == 0: os.makedirs(d, exist_ok=True)
        # sizes: skewed, mean about 20 KB
        size = int(min(400_000, 2000 + r.expovariate(1 / 18_000)))
        kind = r.choice(("txt", "md", "cpp", "py"))
        data = block(kind, size, SEED * 7 + i)
        if i in rare:
            p = data.index(b"\n", len(data) // 2); data = data[:p] + b" zyzzyvaquark" + data[p:]
        with open(f"{d}/{VOC[320 + i % 900]}-{i:05d}.{kind}", "wb") as f: f.write(data)
        total += len(data)
    print("10,000 files,", total, "bytes")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    os.makedirs(sys.argv[1], exist_ok=True)
    tree(sys.argv[1])
