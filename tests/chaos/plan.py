"""The plan of one round: what happens to which device at which moment. It follows from the seed alone, so that a seed
repeats its faults and its clients."""

import random

ROUND_MS = 15_000
FAULTS_IN_ROUND, CLIENTS_IN_ROUND = 180, 30

# (how often, kind, shortest and longest time in ms)
COMMON = [
    (3, "kill", 0, 1500), (3, "restart", 0, 1000), (8, "freeze", 20, 2500),
    (6, "cut", 50, 4000), (10, "delay", 200, 4000), (10, "drop", 200, 4000), (8, "reorder", 200, 4000),
    (6, "duplicate", 200, 4000),
    (4, "fill_disk", 50, 3000), (6, "unreadable", 100, 3000), (4, "half_written", 50, 800), (6, "clock", 200, 5000)]
RADIO = [(30, "radio", 100, 4000)]

FILES = ["known-devices.json", "online.json", "sharing.json", "removals.json", "network-changes.json", "events.jsonl",
         "device-state.json", "hotspot-key"]
CALLS = ["hotspot.is_active", "hotspot.enable", "hotspot.disable", "hotspot.get_config", "wifi.get_configs",
         "wifi.add_config", "wifi.connect", "telephony.sim_state", "telephony.radio_state", "telephony.cellular_data",
         "telephony.radio_callback"]
METHODS = ["", "GetAll", "Get", "ActivateConnection", "AddAndActivateConnection2", "DeactivateConnection", "Delete",
           "ListConnections", "GetSettings", "RequestScan", "GetAllAccessPoints"]
DEVICE_FAILURES = [1, 5, 7, 8, 9, 10, 11, 15, 16, 17, 36, 39, 53]
CLOCK_JUMPS_S = [-1, 1, -61, 61, -3600, 3600, -90_000, 90_000, -40 * 86_400, 40 * 86_400, 11 * 365 * 86_400]

# (how often, words). PEER is another device of the world, chosen by its name.
CLIENTS = [
    (10, "up"), (6, "up PEER"), (6, "start PEER"), (4, "start PEER --no-wait"), (8, "down"), (2, "stop PEER"),
    (4, "status"), (4, "devices"), (2, "devices --scan"), (3, "info"), (2, "doctor"), (2, "events"),
    (2, "share status"), (1, "share requests"), (2, "share allow PEER --always"), (1, "share deny PEER"),
    (1, "share deny PEER --never"), (1, "prefer PEER"), (1, "auto on"), (1, "auto off"), (1, "account devices"),
    (1, "account renew"), (2, "service hold"), (1, "watch"), (1, "account invite --yes")]
ENDLESS = ("service hold", "watch", "account invite --yes")
ENROLMENT = [(3, "remove"), (3, "leave"), (4, "enrol")]


def pick(chance, table):
    return chance.choices(table, [row[0] for row in table])[0]


def simulated_radio(chance):
    kind = chance.choice(["code", "delay_ms", "no_answer", "state"])
    if kind == "state":
        return chance.choice([{"wifi.enabled": False}, {"cellular_data": False}, {"uplink.internet": "off"},
                              {"wifi.hotspot_present": False}, {"wifi.station_present": False}, {"battery_low": True},
                              {"battery.percent": "3"}, {"wifi.join_ms": 900}, {"hotspot.start_ms": 900}])
    # The service waits three minutes for the radio callback, which is longer than the quiet phase.
    call = chance.choice(CALLS[:-1] if kind == "no_answer" else CALLS)
    value = {"code": -1, "delay_ms": chance.choice([50, 400, 1200, 4000]), "no_answer": True}[kind]
    return {f"faults.{call}.{kind}": value}


def standin_radio(chance):
    kind = chance.choice(["late", "never", "wrong", "busy", "leave", "end", "freeze", "bluez", "refuse", "restart_bluez"])
    method = chance.choice(METHODS)
    if kind == "late":
        return {"order": {"do": "answer_late", "method": method, "seconds": chance.choice([0.05, 0.3, 1.0])},
                "after": {"do": "answer_late", "seconds": 0}}
    if kind == "never":
        return {"order": {"do": "lose", "method": method, "count": chance.randint(1, 5)},
                "after": {"do": "lose", "method": method, "count": 0}}
    return {"wrong": {"order": {"do": "fail_next", "reason": chance.choice(DEVICE_FAILURES)},
                      "after": {"do": "fail_next", "reason": 0}},
            "busy": {"order": {"do": "be_busy", "seconds": chance.choice([0.1, 0.8, 2.5])}},
            "leave": {"order": {"do": "leave_bus"}, "after": {"do": "join_bus"}},
            "end": {"order": {"do": "deactivate"}},
            "freeze": {"freeze": "NetworkManager"}, "bluez": {"freeze": "BlueZ of {name}"},
            "refuse": {"refuse": True}, "restart_bluez": {"restart": True}}[kind]


def fault(chance, world, devices):
    _, kind, shortest, longest = pick(chance, COMMON + RADIO)
    entry = {"at": chance.randrange(ROUND_MS), "device": chance.choice(devices), "fault": kind,
             "for": chance.randint(shortest, longest)}
    if kind in ("drop", "reorder", "duplicate"):
        entry["share"] = chance.choice([0.02, 0.1, 0.3])
    if kind in ("delay", "reorder"):
        entry["delay_ms"] = chance.choice([5, 40, 200, 900])
    if kind in ("unreadable", "half_written"):
        entry["file"] = chance.choice(FILES)
    if kind == "half_written":
        entry["damage"] = chance.choice(["half", "noise", "empty"])
    if kind == "clock":
        entry["jump_s"] = chance.choice(CLOCK_JUMPS_S)
    if kind == "radio":
        entry["radio"] = simulated_radio(chance) if world == "simulated" else standin_radio(chance)
        kinds = ["state"] if "faults" not in str(entry["radio"]) else list(entry["radio"])
        entry["fault"] = "radio " + (kinds[0].split(".")[-1] if world == "simulated" else next(iter(entry["radio"])))
        if "order" in entry["radio"]:
            entry["fault"] = "radio " + entry["radio"]["order"]["do"]
    return entry


def client(chance, devices):
    device = chance.choice(devices)
    words = pick(chance, CLIENTS)[1]
    peer = chance.choice([name for name in devices if name != device])
    entry = {"at": chance.randrange(ROUND_MS), "device": device,
             "client": [peer if word == "PEER" else word for word in words.split()],
             "timeout": chance.choice([0.5, 2, 5, 10])}
    if words in ENDLESS or chance.random() < 0.25:
        entry["end"] = {"signal": chance.choice(["INT", "INT", "TERM", "KILL"]), "after": chance.randint(10, 3000)}
    return entry


def make(seed, world, devices, number):
    """Returns the entries of a round, ordered by their moment."""
    chance = random.Random(f"{seed}/{world}/{number}")
    entries = [fault(chance, world, devices) for _ in range(FAULTS_IN_ROUND)]
    entries += [client(chance, devices) for _ in range(CLIENTS_IN_ROUND)]
    if world == "simulated":
        entries += [{"at": chance.randrange(ROUND_MS), "device": devices[-1], "enrolment": pick(chance, ENROLMENT)[1]}
                    for _ in range(2)]
    return sorted(entries, key=lambda entry: entry["at"])
