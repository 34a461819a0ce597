#!/usr/bin/env python3
"""Serves the files of FOLDER over HTTP on 127.0.0.1 at a free port, writes that port into
PORT_FILE once it listens, and serves until it is killed.
    feed_server.py FOLDER PORT_FILE"""
import http.server
import os
import sys

folder, port_file = sys.argv[1], sys.argv[2]


class Handler(http.server.SimpleHTTPRequestHandler):
    def __init__(self, *args, **kwargs):
        super().__init__(*args, directory=folder, **kwargs)

    def log_message(self, format, *args):
        pass


server = http.server.HTTPServer(("127.0.0.1", 0), Handler)
# Written whole, then renamed: a reader never sees half a number.
with open(port_file + ".part", "w") as f:
    f.write(str(server.server_port))
os.rename(port_file + ".part", port_file)
server.serve_forever()
