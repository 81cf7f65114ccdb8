"""The command line of the desk: see script/desk."""
import argparse
import pathlib
import re
import sys

from desk.line import shown
from desk.line.client import Client, Failed, address_of

KINDS = ("Inform0", "Report", "SiteSpeed", "TraceRoute", "GetResponse", "Bad")


def own_gateway(client, arguments):
    """The one that was named, else the desk's own, else the only one."""
    if arguments.gateway:
        return arguments.gateway
    try:
        if uuid := client.get("/api/desk")["gateway"]["uuid"]:
            return uuid
    except Failed:
        pass  # a platform without a desk
    known = client.get("/api/gateways?limit=2")["gateways"]
    if len(known) != 1:
        raise Failed("there is no gateway yet" if not known else "there are several gateways: name one with --gateway UUID")
    return known[0]["uuid"]


def done(client, path, body=None):
    print(client.post(f"/api/desk/{path}", body)["done"])


def gateways(client, _):
    print("\n".join(shown.gateways(client.get("/api/gateways"))))


def show(client, arguments):
    print("\n".join(shown.gateway(client.get(f"/api/gateways/{own_gateway(client, arguments)}"))))
    if client.get("/api/platform")["desk"]:
        print("\n".join(shown.desk(client.get("/api/desk"))))


def watch(client, _):
    for name, data in client.events():
        print(shown.event(name, data), flush=True)


def get(client, arguments):
    uuid = own_gateway(client, arguments)
    client.post(f"/api/gateways/{uuid}/gets", {"path": arguments.path})
    print(f"{arguments.path} is asked at the next contact of {uuid}")


def answer(client, arguments):
    """A code, a fault by its name, or the bytes of a file."""
    order = {"times": arguments.times}
    if arguments.kind != "any":
        order["kind"] = arguments.kind
    if arguments.gateway:
        order["uuid"] = arguments.gateway
    if re.fullmatch(r"-?\d+", arguments.code):
        order["code"] = int(arguments.code)
    elif arguments.code.startswith("@"):
        order["bytes"] = pathlib.Path(arguments.code[1:]).read_bytes().decode("latin-1")
    else:
        order["fault"] = arguments.code
    client.post("/api/answers", order)
    print("\n".join(shown.answers(client.get("/api/answers"))))


def answers(client, arguments):
    told = client.ask("DELETE", "/api/answers") if arguments.clear else client.get("/api/answers")
    print("\n".join(shown.answers(told)))


def scenario(client, arguments):
    if arguments.file is None:
        print(client.get("/api/scenario")["yaml"], end="")
        return
    client.ask("PUT", "/api/scenario", text=pathlib.Path(arguments.file).read_text(encoding="utf-8"), kind="application/yaml")
    print(f"{arguments.file} counts from the next request on")


def post(client, arguments):
    told = client.post("/api/desk/location", dict(member.split("=", 1) for member in arguments.members))
    print(f"{told['done']}: {told['answer']}")


def store(client, arguments):
    if arguments.value is not None:
        words = {"node": arguments.node, "attr": arguments.attr, "value": arguments.value}
        print(client.ask("PUT", "/api/desk/store", words)["done"])
        return
    nodes = client.get("/api/desk/store")["nodes"]
    chosen = {arguments.node: nodes.get(arguments.node)} if arguments.node else nodes
    for node, values in chosen.items():
        if values is None or arguments.attr and arguments.attr not in values:
            raise Failed(f"the store has no {node} {arguments.attr or ''}".rstrip())
        if arguments.attr:
            print(values[arguments.attr])
            continue
        print("\n".join([f"[{node}]"] + [f"{name}={value}" for name, value in values.items()]))


def agent(client, arguments):
    if arguments.do == "log":
        print(client.get("/api/desk/log")["text"], end="")
        return
    done(client, "agent", {"do": arguments.do})


def member(text):
    if "=" not in text:
        raise argparse.ArgumentTypeError("each is NAME=VALUE")
    return text


def console(text):
    try:
        return address_of(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(str(error)) from None


def times(text):
    if not text.isdigit() or not 1 <= int(text) <= 1000:
        raise argparse.ArgumentTypeError("from 1 to 1000")
    return int(text)


# Command, what it does, its words, what runs it.
COMMANDS = (
    ("gateways", "lists the gateways that have come", (), gateways),
    ("show", "tells all that is known of one gateway, and the state of the desk", (), show),
    ("watch", "tells each exchange and change as it comes, until Ctrl-C", (), watch),
    ("get", "asks the gateway at its next contact", (("path", {"metavar": "PATH", "help": "NUVEK.Counter, for one"}),), get),
    ("answer", "orders the next answers to one kind of message",
     (("kind", {"choices": KINDS + ("any",), "metavar": "KIND", "help": ", ".join(KINDS) + ", any"}),
      ("code", {"metavar": "CODE", "help": "a number, the name of a fault (close, garbage, two_pieces, ...), or @FILE: these "
                                           "bytes"}),
      ("times", {"metavar": "TIMES", "type": times, "nargs": "?", "default": 1, "help": "how often (1)"})), answer),
    ("answers", "lists the ordered answers that wait", (("--clear", {"action": "store_true", "help": "takes them back"}),),
     answers),
    ("scenario", "replaces the platform's scenario, or prints it",
     (("file", {"metavar": "FILE", "nargs": "?", "help": "YAML, see nuvek-platform(1)"}),), scenario),
    ("post", "posts a location from the LAN side",
     (("members", {"metavar": "NAME=VALUE", "nargs": "+", "type": member, "help": "Longitude, Latitude, ID, ..."}),), post),
    ("unlock", "takes the location's lock away, so that the next one posted reaches the platform", (),
     lambda client, _: done(client, "unlock")),
    ("report", "makes the periodic report due now", (), lambda client, _: done(client, "report")),
    ("store", "prints the gateway's store, one node or value of it, or sets a value",
     tuple((name, {"metavar": name.upper(), "nargs": "?"}) for name in ("node", "attr", "value")), store),
    ("save", "writes the store's live level to flash", (), lambda client, _: done(client, "store/save")),
    ("clock", "opens or closes the clock gate", (("do", {"choices": ("open", "close"), "metavar": "open|close"}),),
     lambda client, arguments: done(client, "clock", {"open": arguments.do == "open"})),
    ("agent", "starts, stops or restarts the agent, or prints its log",
     (("do", {"choices": ("start", "stop", "restart", "log"), "metavar": "start|stop|restart|log"}),), agent),
    ("power-cut", "kills the agent, loses the store's live level, starts the agent again", (),
     lambda client, _: done(client, "power-cut")),
)


def read_arguments():
    parser = argparse.ArgumentParser(prog="script/desk", description="Sees and drives a desk that is up (script/run --stay), or "
                                                                      "any platform server with a console. Each command is "
                                                                      "done at once; watch ends with Ctrl-C.")
    parser.add_argument("--console", metavar="[ADDRESS:]PORT", type=console, default=address_of(None),
                        help="where the console is; else $NUVEK_CONSOLE, else 127.0.0.1:8081")
    parser.add_argument("--gateway", metavar="UUID", help="the one that is meant; else the desk's own, or the only one")
    commands = parser.add_subparsers(metavar="COMMAND", required=True)
    for name, what, words, run in COMMANDS:
        command = commands.add_parser(name, help=what, description=f"{what[0].upper()}{what[1:]}.")
        command.set_defaults(run=run)
        for word, options in words:
            command.add_argument(word, **options)
    return parser.parse_args()


def main():
    try:
        arguments = read_arguments()
        arguments.run(Client(arguments.console), arguments)
    except (Failed, OSError, ValueError) as error:
        sys.exit(f"desk: {error}")
    except KeyboardInterrupt:
        pass


main()
