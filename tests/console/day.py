"""A gateway's day, played with the bytes that an agent sends: registration, Gets, measurements, refusals, faults."""
import itertools

import gateway

SPEEDS = (12.4, 38.9, 71.2, 88.05, 93.6, 94.11, 93.87, 94.2, 61.3, 55.08, 79.9, 92.75, 94.02, 94.1, 93.95, 94.08)
ROUTE = (
    '["edge.test", 1.13, "edge.test", 0.937, "edge.test", 0.887],["*", "null", "*", "null", "*", "null"],'
    '["core.test", 4.846, "core.test", 4.009, "core.test", "null"],["nuvek-p1.test", 7.129, "nuvek-p1.test", 6.02, "nuvek-p1.test", 6.7]'
)


class Gateway:
    def __init__(self, platform, uuid=gateway.UUID):
        self.platform = platform
        self.uuid = uuid
        self.sent = {
            "FailInform": 0,
            "FailResult": 0,
            "FailTask": 0,
            "SuccessInform": 0,
            "SuccessResult": 0,
            "SuccessTask": 0,
        }
        self.identifiers = itertools.permutations("987654321", 8)
        self.location = {"Long": 116.39713, "Lat": 39.91653, "AreaCode": "110101", "GISInterface": "A"}

    def fresh(self):
        return "".join(next(self.identifiers))

    def mine(self, text):
        return text.replace(gateway.UUID, self.uuid)

    def place(self, text):
        """`text` with this gateway's location in it."""
        for old, new in (
            ("116.39713", "%.5f" % self.location["Long"]),
            ("39.91653", "%.5f" % self.location["Lat"]),
            ('"AreaCode":""', '"AreaCode":"%s"' % self.location["AreaCode"]),
            ('"GISInterface":"A"', '"GISInterface":"%s"' % self.location["GISInterface"]),
            ('"GISLockTime":""', '"GISLockTime":"1700000000"'),
            ('"Altitudes": 0.0', '"Altitudes": 44.2'),
            ('"HorizontalError": 0.0', '"HorizontalError": 8.5'),
            ('"VerticalError": 0.0', '"VerticalError": 3.0'),
        ):
            text = text.replace(old, new)
        return text

    def package(self, path):
        if path == "NUVEK.Counter":
            return '{"NUVEK":{"Counter":{%s}}}' % ",".join('"%s":%d' % pair for pair in self.sent.items())
        if path == "NUVEK.GISInfoB":
            zeros = gateway.LOCATION.replace("116.39713", "0.00000").replace("-39.91653", "0.00000")
            return '{"NUVEK":{"GISInfoB":{%s}}}' % (zeros % "B").replace('"AreaCode":"1001"', '"AreaCode":""')
        if path == "NUVEK.GISInfoA":
            there = (gateway.LOCATION % "A").replace("-39.91653", "39.91653").replace('"AreaCode":"1001"', '"AreaCode":""')
            return '{"NUVEK":{"GISInfoA":{%s}}}' % self.place(there)
        return None

    def ask(self, text):
        """Sends a message, and answers the Gets that come back; a platform that breaks its answer is borne."""
        with self.platform.connect() as connection:
            connection.send(gateway.request(text))
            try:
                answer = gateway.Answer(connection.block())
            except (AssertionError, ValueError, OSError):
                return None
            for path, identifier in answer.gets():
                connection.send(gateway.request(self.mine(gateway.get_response(path, identifier, self.package(path)))))
            return answer

    def register(self):
        return self.ask(gateway.inform0(self.fresh(), info=self.place(gateway.DEVICE_INFO), uuid=self.uuid))

    def report(self):
        self.sent["SuccessInform"] += 1
        return self.ask(gateway.report(uuid=self.uuid))

    def count_result(self, answer):
        self.sent["SuccessTask"] += 1
        if answer is not None:
            self.sent["SuccessResult" if answer.messages[0]["Code"] == 0 else "FailResult"] += 1
        return answer

    def speed(self, table=SPEEDS):
        figures = ",".join("%.2f" % value for value in table)
        return self.count_result(self.ask(self.mine(gateway.site_speed(self.fresh(), figures))))

    def trace(self):
        return self.count_result(self.ask(self.mine(gateway.trace_route(ROUTE, self.fresh()))))

    def wrong(self):
        """A message that the check finds fault with."""
        text = gateway.inform0(self.fresh(), uuid=self.uuid).replace('"WANMAC":"001122334466",', "")
        return self.ask(text)
