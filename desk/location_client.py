"""Posts a location to a gateway's local port and prints the answer.

    python3 -m desk.location_client --address 192.168.1.1 Longitude=116.397128 Latitude=39.916527 ID=7
"""
import argparse
import json
import socket
import sys

DEFAULT_PORT = 17999
ANSWER_LIMIT_S = 15


def read_arguments():
    parser = argparse.ArgumentParser(description="Posts a location to a gateway's local port and prints the answer.")
    parser.add_argument("--address", default="127.0.0.1", help="the gateway (default %(default)s)")
    parser.add_argument("--port", type=int, default=DEFAULT_PORT, help="its location port (default %(default)s)")
    parser.add_argument("members", nargs="+", metavar="NAME=VALUE",
                        help="Longitude, Latitude, Elevation, HorizontalError, AltitudeError, AreaCode, GISDigest, "
                             "TimeStamp, ID")
    arguments = parser.parse_args()
    if any("=" not in member for member in arguments.members):
        parser.error("each member is NAME=VALUE")
    return arguments


def main():
    arguments = read_arguments()
    message = json.dumps(dict(member.split("=", 1) for member in arguments.members), separators=(",", ":"))
    try:
        with socket.create_connection((arguments.address, arguments.port), ANSWER_LIMIT_S) as connection:
            connection.sendall(message.encode())
            answer = b"".join(iter(lambda: connection.recv(1024), b""))
    except OSError as error:
        sys.exit(f"location client: {arguments.address} port {arguments.port}: {error}")
    if not answer:
        sys.exit("location client: the gateway closed the connection without an answer")
    print(answer.decode())


if __name__ == "__main__":
    main()
