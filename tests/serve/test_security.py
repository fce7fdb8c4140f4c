"""The server's limits and defences, each refused the way a person can act on."""

import os
import signal
import socket
import subprocess
import time
import unittest

from rig import QMDVARS, Rig, WebSocket

V = '/api/v1'


def raw_exchange(rig, data, wait=5.0):
    """Sends raw bytes and reads until the server closes or `wait` passes."""
    s = socket.create_connection(('127.0.0.1', rig.port), timeout=wait)
    try:
        s.sendall(data)
        got = b''
        deadline = time.time() + wait
        while time.time() < deadline:
            try:
                chunk = s.recv(65536)
            except (socket.timeout, ConnectionResetError):
                break
            if not chunk:
                break
            got += chunk
            head, _, body = got.partition(b'\r\n\r\n')
            length = [int(l.split(b':')[1]) for l in head.split(b'\r\n') if l.lower().startswith(b'content-length:')]
            if length and len(body) >= length[0]:
                break  # one whole answer
        return got
    finally:
        s.close()


class Security(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rig = Rig(serve_args=['--request-timeout', '2', '--max-connections', '6', '--host', 'signs.example'])

    @classmethod
    def tearDownClass(cls):
        cls.rig.close()

    def test_body_over_the_cap_413_without_reading_it(self):
        head = (f'POST {V}/login HTTP/1.1\r\nHost: {self.rig.host}\r\nContent-Type: application/json\r\n'
                f'Content-Length: 100000000\r\n\r\n').encode()
        started = time.time()
        got = raw_exchange(self.rig, head + b'{' * 1000)
        self.assertTrue(got.startswith(b'HTTP/1.1 413'), got)
        self.assertIn(b'longer than 65536 bytes', got)
        self.assertLess(time.time() - started, 2)
        # Chunked bodies have no length to check first.
        got = raw_exchange(self.rig, (f'POST {V}/login HTTP/1.1\r\nHost: {self.rig.host}\r\n'
                                      'Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n').encode())
        self.assertTrue(got.startswith(b'HTTP/1.1 411'), got)

    def test_headers_over_the_cap_431(self):
        got = raw_exchange(self.rig, (f'GET {V}/session HTTP/1.1\r\nHost: {self.rig.host}\r\nX-Pad: '
                                      + 'a' * 20000 + '\r\n\r\n').encode())
        self.assertTrue(got.startswith(b'HTTP/1.1 431'), got)

    def test_slow_client_timed_out(self):
        s = socket.create_connection(('127.0.0.1', self.rig.port), timeout=10)
        started = time.time()
        s.sendall(b'GET / HTTP/1.1\r\nHost: ')
        try:
            while True:
                s.sendall(b'a')  # a byte now and then never completes the request
                time.sleep(0.5)
                if time.time() - started > 8:
                    self.fail('the slow client was not cut off')
        except (BrokenPipeError, ConnectionResetError):
            pass
        self.assertLess(time.time() - started, 5)
        s.close()

    def test_connections_per_address_bounded(self):
        held = [socket.create_connection(('127.0.0.1', self.rig.port)) for _ in range(6)]
        try:
            time.sleep(0.3)
            got = raw_exchange(self.rig, f'GET / HTTP/1.1\r\nHost: {self.rig.host}\r\n\r\n'.encode(), wait=2)
            self.assertTrue(got.startswith(b'HTTP/1.1 503'), got)
            self.assertIn(b'too many connections', got)
        finally:
            for s in held:
                s.close()
        time.sleep(0.3)
        self.assertEqual(self.rig.request('GET', '/').status, 200)

    def test_host_header_checked(self):
        for host, status in [('evil.example', 421), (f'evil.example:{self.rig.port}', 421),
                             (f'localhost:{self.rig.port}', 200), ('signs.example', 200)]:
            with self.subTest(host=host):
                self.assertEqual(self.rig.request('GET', '/', headers={'Host': host}).status, status)
        got = raw_exchange(self.rig, b'GET / HTTP/1.1\r\nHost: rebind.example\r\nUpgrade: websocket\r\n'
                                     b'Connection: Upgrade\r\nSec-WebSocket-Key: x\r\nSec-WebSocket-Version: 13\r\n\r\n')
        self.assertTrue(got.startswith(b'HTTP/1.1 4'), got)

    def test_other_origin_refused(self):
        session = self.rig.login('operator')
        before = self.rig.vls_bytes()
        r = self.rig.request('PATCH', V + '/variables/1', {'data': 'x'}, session=session,
                             headers={'Origin': 'http://evil.example'})
        self.assertEqual(r.status, 403)
        ws = WebSocket(self.rig, cookie=session.cookie, origin='http://evil.example')
        self.assertEqual(ws.status, 403)
        ws.close()
        self.assertEqual(WebSocket(self.rig).status, 401)
        self.assertEqual(self.rig.vls_bytes(), before)
        ws = WebSocket(self.rig, cookie=session.cookie, origin=f'http://{self.rig.host}')
        self.assertEqual(ws.status, 101)
        ws.close()

    def test_only_the_console_is_served(self):
        r = self.rig.request('GET', '/')
        self.assertEqual(r.status, 200)
        self.assertIn('<script src="app.js"', r.body)
        self.assertNotIn('<script>', r.body)  # no inline script: the policy would refuse it
        for header, value in [('content-security-policy', "default-src 'self'"), ('x-frame-options', 'DENY'),
                              ('x-content-type-options', 'nosniff')]:
            self.assertIn(value, r.header(header))
        self.assertEqual(self.rig.request('GET', '/app.js').header('content-type'), 'text/javascript; charset=utf-8')
        for path in ['/../../etc/passwd', '/%2e%2e/%2e%2e/etc/passwd', '/..%2f..%2fetc%2fpasswd', '/etc/passwd',
                     '/console/app.js', '//etc/passwd', '/app.js/..', '/serve.log', '/.hidden.js']:
            with self.subTest(path=path):
                got = raw_exchange(self.rig, f'GET {path} HTTP/1.1\r\nHost: {self.rig.host}\r\n'
                                             'Connection: close\r\n\r\n'.encode())
                self.assertTrue(got.startswith(b'HTTP/1.1 404'), got[:100])
                self.assertNotIn(b'root:', got)

    def test_untrusted_forwarded_for_ignored(self):
        # This server trusts no proxy: the header does not make a new client.
        for n in range(5):
            self.rig.request('POST', V + '/login', {'name': 'admin', 'password': 'no'},
                             headers={'X-Forwarded-For': f'203.0.113.{n}'})
        r = self.rig.request('POST', V + '/login', {'name': 'admin', 'password': 'no'},
                             headers={'X-Forwarded-For': '203.0.113.99'})
        self.assertEqual(r.status, 429)
        self.assertRegex(self.rig.log_text(), r'127\.0\.0\.1 admin POST /api/v1/login 401')


class Startup(unittest.TestCase):
    def test_plain_http_only_on_loopback_and_tls(self):
        r = subprocess.run([QMDVARS, 'serve', '--listen', '0.0.0.0:0'], capture_output=True, text=True, timeout=30,
                           env=dict(os.environ, ZOL_MACHINE_STORE='/nonexistent/machine.ini'))
        self.assertEqual(r.returncode, 2)
        self.assertIn('loopback address only', r.stderr)

    def test_tls_secure_cookie_and_clean_stop(self):
        rig = None
        try:
            import tempfile
            folder = tempfile.mkdtemp()
            cert, key = os.path.join(folder, 'c.pem'), os.path.join(folder, 'k.pem')
            subprocess.run(['openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-keyout', key, '-out', cert,
                            '-days', '1', '-subj', '/CN=localhost'], check=True, capture_output=True, timeout=60)
            rig = Rig(serve_args=['--tls-cert', cert, '--tls-key', key], tls=True)
            self.assertTrue(rig.url.startswith('https://'))
            r = rig.request('POST', V + '/login', {'name': 'viewer', 'password': 'viewer-pass-1'})
            self.assertEqual(r.status, 200)
            self.assertIn('Secure', r.header('set-cookie'))
            self.assertIn('max-age', r.header('strict-transport-security'))
            rig.server.send_signal(signal.SIGTERM)
            self.assertEqual(rig.server.wait(20), 0)
            self.assertIn('stopped', rig.log_text())
        finally:
            if rig:
                rig.close()


if __name__ == '__main__':
    unittest.main()
