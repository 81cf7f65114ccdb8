"""Somebody on the home network who posts a location again and again: how long he waits shows how long the agent's turns
are."""
import json
import socket
import threading
import time

POST = b'{"Longitude":"1","Latitude":"2","ID":"9"}'
LOCKED = {"Result": -3, "ID": 9}
PAUSE_S = 0.5  # each client ends a wait of the main loop, and more of them would drive it
LIMIT_S = 60


class Pulse(threading.Thread):
    def __init__(self, network):
        super().__init__(daemon=True)
        self._network, self._goes_on = network, True
        self._longest_s, self._began_s, self._error = 0, None, None
        self.start()

    def run(self):
        self._network.namespaces.enter("lan")
        try:
            while self._goes_on:
                self._began_s = time.monotonic()
                answer = self._post()
                if answer != LOCKED:
                    raise OSError(f"the answer was {answer}")
                self._longest_s = max(self._longest_s, time.monotonic() - self._began_s)
                self._began_s = None
                time.sleep(PAUSE_S)
        except (OSError, ValueError) as error:
            self._error = error

    def _post(self):
        address = (self._network.gateway_address, self._network.local_port)
        with socket.create_connection(address, LIMIT_S) as client:
            client.settimeout(LIMIT_S)
            client.sendall(POST)
            return json.loads(client.recv(1024))

    def longest_s(self):
        """Since the last question; the client that waits now counts, too."""
        if self._error is not None:
            raise self._error
        began_s = self._began_s
        longest_s = max(self._longest_s, 0 if began_s is None else time.monotonic() - began_s)
        self._longest_s = 0
        return longest_s

    def end(self):
        self._goes_on = False
        self.join()
