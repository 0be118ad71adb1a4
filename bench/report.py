#!/usr/bin/env python3
"""Prints the benchmark table from the result folder of scripts/bench.sh.

Every measure is the median over the runs with its min-max; a ratio compares it with the
baseline measured in the same runs (the same host without the framework, or Chromium)."""
import os
import statistics
import sys

out, runs, seconds, ads = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]


def values(name, key):
    found = []
    for run in range(1, runs + 1):
        path = os.path.join(out, str(run), name + ".txt")
        if not os.path.exists(path):
            continue
        for line in open(path):
            parts = line.split()
            if len(parts) == 2 and parts[0] == key:
                found.append(float(parts[1]))
    return found


def med(xs):
    return statistics.median(xs) if xs else None


def cell(xs, digits=2):
    if not xs:
        return "n/a"
    return f"{med(xs):.{digits}f} ({min(xs):.{digits}f}–{max(xs):.{digits}f})"


def per_run(name_a, key_a, name_b, key_b, op):
    """op applied run by run to two measures (both must exist in that run)."""
    a, b = [], []
    result = []
    for run in range(1, runs + 1):
        def one(name, key):
            path = os.path.join(out, str(run), name + ".txt")
            if not os.path.exists(path):
                return None
            for line in open(path):
                parts = line.split()
                if len(parts) == 2 and parts[0] == key:
                    return float(parts[1])
            return None
        x, y = one(name_a, key_a), one(name_b, key_b)
        if x is not None and y is not None:
            result.append(op(x, y))
    return result


rows = []


def row(measure, value, baseline, ratio, budget, verdict):
    rows.append((measure, value, baseline, ratio, budget, verdict))


def verdict(ok):
    if ok is None:
        return "n/a"
    return "pass" if ok else "falls short"


def ratio_cell(xs):
    return cell(xs, 2) + "×" if xs else "—"


# 1. Main-thread stalls of the scripted session.
for key, label, limit in (("stall_max_ms", "longest main-thread stall, ms", 4.0),
                          ("stall_p99_ms", "99th percentile of loop lateness, ms", 0.5)):
    v, b = values("session.velmora", key), values("session.bare", key)
    added = per_run("session.velmora", key, "session.bare", key, lambda x, y: x - y)
    ratio = per_run("session.velmora", key, "session.bare", key, lambda x, y: x / y if y else float("inf"))
    row(label, cell(v), cell(b), ratio_cell(ratio), f"added ≤ {limit:g} (added: {cell(added)})",
        verdict(med(added) <= limit if added else None))

# The video phase alone (video start to its end), against the bare host's whole session.
for key, label, limit in (("video_stall_p99_ms", "during the video: 99th percentile of loop lateness, ms", 1.0),):
    v, b = values("session.velmora", key), values("session.bare", key)
    added = per_run("session.velmora", key, "session.bare", key, lambda x, y: x - y)
    row(label, cell(v), cell(b), "—", f"added ≤ {limit:g} (added: {cell(added)})",
        verdict(med(added) <= limit if added else None))
v = values("session.velmora", "video_longest_event_ms")
row("during the video: longest main-thread event, ms", cell(v), "—", "—", "≤ 8",
    verdict(max(v) <= 8 if v else None))

# The first cycle fetching a 64 MiB video, against the bare host's probe over as long.
for key, label, limit in (("media_stall_max_ms", "while 64 MiB of media arrive: longest main-thread stall, ms", 4.0),
                          ("media_stall_p99_ms", "while 64 MiB of media arrive: 99th percentile of loop lateness, ms",
                           0.5)):
    v, b = values("media.velmora", key), values("media.bare", key)
    added = per_run("media.velmora", key, "media.bare", key, lambda x, y: x - y)
    row(label, cell(v), cell(b), "—", f"added ≤ {limit:g} (added: {cell(added)})",
        verdict(med(added) <= limit if added else None))
v, arrived = values("media.velmora", "media_arrival_ms"), values("media.velmora", "media_arrived")
row("64 MiB of media: banner registered → whole video in the cache, ms", cell(v, 0), "—", "—",
    "arrives in every run", verdict(min(arrived) == 1 if arrived else None))

# Every framework step: its longest main-thread event in any run (no step over 4 ms).
for key, label in (("step_startup_ms", "the host's start-up step (first call, 4 splash screens, 4 banners)"),
                   ("step_start_screen_ms", "start screen (forceShow → video phase)"),
                   ("video_longest_event_ms", "video phase"),
                   ("step_close_ms", "close (and the second after it)"),
                   ("step_rotation_ms", "banner rotation (2 virtual minutes, 4 banners)"),
                   ("step_remove_ads_ms", "removeAdsNow")):
    v = values("session.velmora", key)
    row(f"longest main-thread step: {label}, ms", cell(v), "—", "—", "≤ 4 in every run",
        verdict(max(v) <= 4 if v else None))

# The start screen while only its shine moves.
v = values("startscreen.velmora", "start_screen_paints_per_s")
row("start screen on show: paints per second (ring and shine)", cell(v, 1), "—", "—", "—", "info")
v = values("startscreen.velmora", "remove_ads_longest_quiet_ms")
row("remove-ads button: longest time without a paint (a 3 s rest paints nothing), ms", cell(v, 0), "—", "—",
    "≥ 2900", verdict(min(v) >= 2900 if v else None))

# 2. Start-up cost.
v = values("session.velmora", "first_call_ms")
row(f"first facade call ({ads} cached ads), ms", cell(v), "—", "—", "≤ 2", verdict(med(v) <= 2 if v else None))
v = values("session.velmora", "add_splash_ms")
row("addSplashScreenToWindow (first window), ms", cell(v), "—", "—", "—", "info")
v = values("session.velmora", "add_splash_second_ms")
row("addSplashScreenToWindow (second window), ms", cell(v), "—", "—", "—", "info")
v = values("session.velmora", "add_banner_ms")
row("addBannerForWindow (first banner), ms", cell(v), "—", "—", "—", "info")

# 3. Latency.
v = values("session.velmora", "force_show_to_frame_ms")
row("forceShow → first painted start screen, ms", cell(v), "—", "—", "≤ 16", verdict(med(v) <= 16 if v else None))
v = values("session.velmora", "video_start_to_frame_ms")
row("video phase start → first video frame, ms", cell(v), "—", "—", "≤ 150", verdict(med(v) <= 150 if v else None))

ref = values("video.reference", "video_ref_first_frame_ms")
row("same video in a bare Qt program: first player → first frame, ms", cell(ref), "—", "—", "—", "reference")
ref = values("video.warm", "video_ref_warm_first_frame_ms")
row("same, player made ahead: setSource() → first frame, ms", cell(ref), "—", "—", "—", "reference")

# 4. Steady CPU (banners + an idle registered splash screen) against QMovie in QLabels.
for n in (1, 4):
    key = "visible_cpu_s_per_min"
    v, b = values(f"scale{n}.velmora", key), values(f"scale{n}.bare", key)
    ratio = per_run(f"scale{n}.velmora", key, f"scale{n}.bare", key, lambda x, y: x / y if y else float("inf"))
    row(f"CPU, {n} banner(s) + idle splash, s/min", cell(v, 3), cell(b, 3), ratio_cell(ratio), "≤ 1.1×",
        verdict(med(ratio) <= 1.1 if ratio else None))
painted = values("session.velmora", "banner_views_painted")
row(f"banner views that animated, session ({ads}-ad offline table), of 4", cell(painted, 0), "—", "—", "4",
    verdict(min(painted) >= 4 if painted else None))
painted = values("scale4.velmora", "visible_banner_views_painted")
row("banner views that animated, steady (no offline table), of 4", cell(painted, 0), "4 (QLabels)", "—", "4",
    verdict(min(painted) >= 4 if painted else None))
for state in ("minimized", "hidden"):
    p = values("scale4.velmora", f"{state}_paints_per_min")
    c = values("scale4.velmora", f"{state}_cpu_s_per_min")
    row(f"4 banners {state}: paints/min (CPU s/min)", f"{cell(p, 1)} ({cell(c, 3)})", "—", "—", "0 paints",
        verdict(max(p) == 0 if p else None))

# 5. Memory: peak RSS of the whole session, against the bare host and Chromium.
v, b = values("session.velmora", "peak_rss_mb"), values("session.bare", "peak_rss_mb")
added = per_run("session.velmora", "peak_rss_mb", "session.bare", "peak_rss_mb", lambda x, y: x - y)
chromium = values("chromium", "chromium_rss_mb")
row("peak RSS, splash + 4 banners session, MB", cell(v, 1), cell(b, 1),
    ratio_cell(per_run("session.velmora", "peak_rss_mb", "session.bare", "peak_rss_mb", lambda x, y: x / y)),
    f"added ≤ 30 (added: {cell(added, 1)})", verdict(med(added) <= 30 if added else None))
helper = values("session.velmora", "helper_peak_rss_mb")
if helper:
    row("video helper (velmora-media) peak RSS, its own process, MB", cell(helper, 1), "—", "—", "—", "info")
before = values("session.velmora", "rss_before_splash_mb")
later = per_run("session.velmora", "rss_5s_after_close_mb", "session.velmora", "rss_before_splash_mb",
                lambda x, y: x - y)
if later:
    row("host RSS 5 s after the close − before the splash, MB", cell(later, 1), "—", "—", "≤ 5",
        verdict(med(later) <= 5))
gone = values("session.velmora", "helpers_10s_after_close")
if gone:
    row("video helpers alive 10 s after the close", cell(gone, 0), "—", "—", "0", verdict(max(gone) == 0))
added4 = per_run("scale4.velmora", "rss_mb", "scale4.bare", "rss_mb", lambda x, y: x - y)
ref = values("video.reference", "video_ref_peak_rss_mb")
if ref:
    row("same video in a bare Qt program: peak RSS, MB", cell(ref, 1), cell(b, 1), "—",
        f"over bare host: {med(ref) - med(b):.1f}", "reference")
before = values("session.velmora", "rss_before_splash_mb")
after = values("session.velmora", "rss_at_video_end_mb")
if before and after:
    row("RSS before splash → at video end (session), MB", f"{cell(before, 1)} → {cell(after, 1)}", "—", "—", "—",
        "info")
row("RSS, 4 banners + idle splash (no video), MB", cell(values("scale4.velmora", "rss_mb"), 1),
    cell(values("scale4.bare", "rss_mb"), 1), "—", f"added: {cell(added4, 1)}", "info")
if chromium:
    row("Chromium headless, same GIF page, RSS of tree, MB", cell(chromium, 1), "—",
        f"added/Chromium: {med(added) / med(chromium):.2f}×" if added else "—", "—", "info")


# 6. Scale: growth per added window of the framework's host, beside the bare host's.
for key, label, floor, digits in (("visible_cpu_s_per_min", "CPU s/min", 0.005, 4), ("rss_mb", "RSS MB", 0.1, 3)):
    v = {n: med(values(f"scale{n}.velmora", key)) for n in (1, 10, 50)}
    b = {n: med(values(f"scale{n}.bare", key)) for n in (1, 10, 50)}
    if None in v.values() or None in b.values():
        row(f"per window, {label}", "n/a", "n/a", "—", "linear", "n/a")
        continue
    vs1, vs2 = (v[10] - v[1]) / 9, (v[50] - v[10]) / 40
    bs1, bs2 = (b[10] - b[1]) / 9, (b[50] - b[10]) / 40
    linear = vs2 <= 1.5 * max(vs1, floor)
    row(f"per window, {label}: 1→10 | 10→50 windows", f"{vs1:.{digits}f} | {vs2:.{digits}f}",
        f"{bs1:.{digits}f} | {bs2:.{digits}f}", f"{vs2 / bs2:.2f}× (10→50)" if bs2 > 0 else "—",
        "linear: 10→50 ≤ 1.5× 1→10", verdict(linear))

headers = ("measure", "Velmora median (min–max)", "baseline median (min–max)", "ratio", "budget", "result")
widths = [max(len(str(r[i])) for r in rows + [headers]) for i in range(len(headers))]
line = "| " + " | ".join(h.ljust(w) for h, w in zip(headers, widths)) + " |"
print(f"Velmora benchmarks: {runs} runs, CPU over {seconds} s windows, medians (min–max)")
print(line)
print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
for r in rows:
    print("| " + " | ".join(str(c).ljust(w) for c, w in zip(r, widths)) + " |")
