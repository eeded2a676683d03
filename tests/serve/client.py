"""zam serve as a program that tests drive it: its process, requests, and the stream of events."""
import http.client
import json
import re
import subprocess
import threading
import time
import urllib.parse


class Server:
    def __init__(self, zam, *arguments, **options):
        self.process = subprocess.Popen([zam, "serve", "--no-open", *arguments], stdout=subprocess.PIPE, text=True, **options)
        line = self.process.stdout.readline()
        match = re.fullmatch(r"zam: http://(127\.0\.0\.1):(\d+)/([0-9a-f]{32})/\n", line)
        assert match, line
        self.host, self.port, self.token = match[1], int(match[2]), match[3]
        self.origin = f"http://{self.host}:{self.port}"

    def __enter__(self):
        return self

    def __exit__(self, *what):
        self.process.terminate()
        assert self.process.wait(10) == 0
        self.process.stdout.close()

    def connect(self, timeout=30):
        return http.client.HTTPConnection(self.host, self.port, timeout=timeout)

    def request(self, method, name, body=None, token=None, headers=None, connection=None):
        """-> status, headers, bytes"""
        own = connection is None
        connection = connection or self.connect()
        head = {"Origin": self.origin} if method == "POST" else {}
        head.update(headers or {})
        connection.request(method, f"/{token or self.token}/{name}", body, {k: v for k, v in head.items() if v is not None})
        answer = connection.getresponse()
        result = answer.status, answer.headers, answer.read()
        if own:
            connection.close()
        return result

    def get(self, name, **query):
        status, _, body = self.request("GET", name + "?" + urllib.parse.urlencode(query))
        assert status == 200, (name, status, body)
        return body

    def get_json(self, name, **query):
        return json.loads(self.get(name, **query))

    def post(self, name, expected=200, **body):
        status, _, answer = self.request("POST", name, json.dumps(body))
        assert status == expected, (name, status, answer)
        return json.loads(answer)

    def parameter(self, target):
        module, name = target.split(".")
        found = next(m for m in self.get_json("state")["modules"] if m["name"] == module)
        return next(p for p in found["parameters"] if p["name"] == name)["value"]


class Events:
    """The stream of events, read as they come."""

    def __init__(self, server):
        self.connection = server.connect(60)
        self.connection.request("GET", f"/{server.token}/events")
        self.answer = self.connection.getresponse()
        assert self.answer.status == 200, self.answer.status
        self.events = []  # (name, data, moment)
        self.changed = threading.Condition()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        name = ""
        try:
            for line in self.answer:
                text = line.decode().rstrip("\n")
                if text.startswith("event: "):
                    name = text[7:]
                elif text.startswith("data: "):
                    with self.changed:
                        self.events.append((name, json.loads(text[6:]), time.monotonic()))
                        self.changed.notify_all()
        except (OSError, http.client.HTTPException, ValueError, AttributeError):
            pass

    def forget(self):
        """Keeps the newest event of each name alone."""
        with self.changed:
            self.events = list({event[0]: event for event in self.events}.values())

    def close(self):
        self.connection.sock and self.connection.sock.close()

    def wait(self, name, fits=lambda data: True, after=0.0, seconds=30):
        """The first event of that name since a moment for which `fits` holds, and its moment."""
        until = time.monotonic() + seconds
        with self.changed:
            while True:
                for event, data, moment in self.events:
                    if event == name and moment >= after and fits(data):
                        return data, moment
                assert self.changed.wait(max(0.0, until - time.monotonic())), f"no {name} within {seconds} s"
