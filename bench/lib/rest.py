"""A REST backend that answers every GET with an empty object, by HTTPS."""

import http.server
import ssl
import threading


class _Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):  # the name is http.server's
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", "2")
        self.end_headers()
        self.wfile.write(b"{}")

    def log_message(self, *_):
        pass


class RestBackend:
    """Serves from a thread of its own while its context lasts."""

    def __init__(self, certificate):
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), _Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate.path, certificate.key)
        self._server.socket = context.wrap_socket(self._server.socket, server_side=True)
        self.port = self._server.server_address[1]

    def __enter__(self):
        threading.Thread(target=self._server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._server.server_close()
