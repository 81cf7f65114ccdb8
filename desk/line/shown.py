"""How the command line shows what the console answers."""
COUNTERS = ("SuccessInform", "FailInform", "SuccessTask", "FailTask", "SuccessResult", "FailResult")


def clock(time):
    """The time of day, of a time with its date."""
    return time.partition("T")[2].rstrip("Z")


def table(columns, rows):
    cells = [list(columns)] + [["-" if cell is None else str(cell) for cell in row] for row in rows]
    widths = [max(len(row[k]) for row in cells) for k in range(len(columns))]
    return ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in cells]


def gateways(answer):
    rows = []
    for gateway in answer["gateways"]:
        counts = ", ".join(f"{count} {kind}" for kind, count in gateway["received"].items() if count)
        rows.append([gateway["uuid"], gateway["reg_id"], gateway["address"], clock(gateway["last_seen"]), gateway["findings"],
                     counts])
    if not rows:
        return ["no gateway has come yet"]
    lines = table(("UUID", "RegId", "address", "last seen", "findings", "received"), rows)
    return lines + (["and more"] if answer["more"] else [])


def members(values):
    return [f"    {name} {value}" for name, value in values.items() if not isinstance(value, list)]


def locations(gateway):
    lines = []
    for block, location in gateway["locations"].items():
        if location is None:
            continue
        values = location["values"]
        lock = "locked" if values.get("GISInterface") else "not locked"
        lines.append(f"location {block}: longitude {values['Long']}°, latitude {values['Lat']}°, {values['Altitudes']} m high, "
                     f"within {values['HorizontalError']} m, {lock}")
    return lines or ["location: none yet"]


def counters(gateway):
    told = gateway["counters"]
    if told is None:
        return ["counters: not asked for yet (script/desk get NUVEK.Counter)"]
    rows = []
    for name in COUNTERS:
        here, there = told["gateway"].get(name), told["platform"].get(name)
        rows.append([name, here, there, "differs" if there is not None and here != there else ""])
    return [f"counters at {clock(told['time'])}:"] + ["    " + line for line in
                                                       table(("", "gateway's", "platform's", ""), rows)]


def measurements(gateway):
    lines = []
    speed, trace = (gateway["measurements"][kind] for kind in ("SiteSpeed", "TraceRoute"))
    if speed:
        figures = [figure for figure in speed["values"]["SpeedTable"] if isinstance(figure, (int, float))]
        what = f"{len(figures)} figures, {min(figures)} to {max(figures)} Mbit/s" if figures else "no figures"
        lines.append(f"site speed at {clock(speed['time'])}: {what}, answered {speed['code']}")
    if trace:
        lines.append(f"trace-route at {clock(trace['time'])}, answered {trace['code']}:")
        lines += [f"    {row[0]:<20} " + ", ".join(f"{time}" for time in row[1::2]) for row in trace["values"]["PathTable"]]
    for turn in gateway["back_off"]:
        waited = "waiting" if turn["waited_s"] is None else f"came after {turn['waited_s']:.1f} s"
        lines.append(f"back-off at {clock(turn['time'])}: code {turn['code']}, {turn['expected_s']} s, {waited}")
    return lines or ["measurements: none yet"]


def gateway(told):
    registered = f"registered as {told['reg_id']}" if told["registered"] else "not registered"
    lines = [f"gateway {told['uuid']}, {registered}, at {told['address']}",
             f"first seen {told['first_seen']}, last {told['last_seen']}, {told['findings']} findings"]
    if told["device"]:
        lines += ["identity:"] + members(told["device"]["values"])
    lines += locations(told) + counters(told) + measurements(told)
    for question in told["waiting"]:
        state = "waits for the next contact" if question["id"] is None else "was asked, not answered yet"
        lines.append(f"question {question['path']}: {state}")
    return lines


def event(name, data):
    if name == "exchange":
        who = data["uuid"][:8] or data["peer"]
        faults = "".join(f"  FINDING {finding}" for finding in data["findings"])
        return f"{clock(data['time'])}  {data['number']:>5}  {who:<8}  {data['kind']:<12} {data['path'] or '':<18} -> " \
               f"{data['outcome']}{faults}"
    words = {"hello": lambda: f"platform {data['version']}, {data['last']} exchanges so far",
             "gateway": lambda: f"gateway {data['uuid'][:8]}: {data['change']}",
             "answers": lambda: f"{len(data['answers'])} ordered answers wait", "scenario": lambda: "the scenario was changed",
             "journal": lambda: f"the journal: {data.get('error')}"}
    return f"-- {words[name]()}" if name in words else f"-- {name}"


def desk(told):
    agent = told["agent"]
    status = f" with status {agent['status']}" if agent["state"] == "ended" else ""
    return [f"{told['story']} on {told['network']['kind']}; the agent: {agent['state']}{status} since {clock(agent['since'])}; "
            f"clock gate {'open' if told['clock']['open'] else 'closed'}; its time runs {told['time']['speed']} times fast"]


def answers(told):
    rows = [[order["number"], order["kind"] or "any", order["uuid"], order["code"] if order["code"] is not None else
             order["fault"] or f"{len(order['bytes'])} bytes", order["left"]] for order in told["answers"]]
    return table(("number", "to", "gateway", "answer", "left"), rows) if rows else ["no ordered answer waits"]
