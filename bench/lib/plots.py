"""The plots of docs/performance.md, drawn from the data of one run."""

from pathlib import Path

from harness import tell
from subjects import FLOOR_PLAIN, FLOOR_SQLITE, MOSQUITTO, OURS, OURS_DISK, OURS_RAM, PAHO
from svg import bar_chart, line_chart

NAMES = {OURS.title: ("ours", "XelPushClient"), MOSQUITTO.title: ("mosquitto", "libmosquitto"),
         PAHO.title: ("paho", "Paho C"), FLOOR_PLAIN.title: ("floor", "floor, plain log"),
         FLOOR_SQLITE.title: ("floor2", "floor, SQLite"), OURS_DISK.title: ("ours", "ours, on disk"),
         OURS_RAM.title: ("ours2", "ours, in RAM"), "libmosquitto (RAM)": ("mosquitto", "libmosquitto"),
         "Paho C (RAM)": ("paho", "Paho C")}


def receive_plot(data):
    """Flood and one message a turn, each with its own scale: they are different questions."""
    groups = []
    for section, heading in (("flood", "a flood: what one read brings shares a turn"),
                             ("turn", "one message a turn: nothing is shared")):
        found = data[section]["us"]
        groups.append((heading, [(*NAMES[title], value) for title, value in found.items() if title in NAMES]))
    return bar_chart("What receiving a message costs", "CPU time per message of each subject: " + words_of(groups),
                     groups, "CPU µs per message, user and system; shorter is better; two scales")


def publish_plot(data):
    found = data["publish"]
    lines = [(*NAMES[title], list(zip(found["unacked"], values))) for title, values in found["us"].items()]
    return line_chart("What publishing costs while others wait for their acknowledgement",
                      "CPU time per QoS 1 publication over the number of unacknowledged ones.", lines, found["unacked"],
                      "publications that stay unacknowledged", "CPU µs per publication; both scales are logarithmic")


def size_plot(data):
    found = data["sizes"]
    lines = [(*NAMES[title], list(zip(found["octets"], values))) for title, values in found["us"].items()]
    return line_chart("What a message of a flood costs by its size",
                      "CPU time per message over the size of its payload.", lines, found["octets"],
                      "octets of the payload", "CPU µs per message; both scales are logarithmic")


def words_of(groups):
    return "; ".join(f"{heading}: " + ", ".join(f"{name} {value:.3g}" for _, name, value in bars)
                     for heading, bars in groups)


PLOTS = {"receive-cost.svg": (receive_plot, ("flood", "turn")), "publish-cost.svg": (publish_plot, ("publish",)),
         "size-cost.svg": (size_plot, ("sizes",))}


def draw_plots(data, folder):
    """Those of which every section was run."""
    Path(folder).mkdir(parents=True, exist_ok=True)
    for name, (draw, sections) in PLOTS.items():
        if all(data.get(section, {}).get("us") for section in sections):
            (Path(folder) / name).write_text(draw(data), encoding="utf-8")
            tell(f"drawn: {Path(folder) / name}")
