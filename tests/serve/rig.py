"""A qmdvars serve of its own for a test: a temporary folder with both settings
stores, a variable file, emulated displays, accounts and a token, and the
server on a free loopback port. Standard library only."""

import base64
import http.client
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

QMDVARS = os.environ.get('QMDVARS', 'qmdvars')
EMULATOR = os.environ.get('EMULATOR', 'lumarex-emulator')
PASSWORDS = {'admin': 'admin-pass-1', 'operator': 'operator-pass-1', 'viewer': 'viewer-pass-1'}


class Response:
    def __init__(self, status, headers, body):
        self.status = status
        self.headers = headers
        self.body = body
        try:
            self.json = json.loads(body) if body else {}
        except ValueError:
            self.json = None

    def header(self, name):
        return self.headers.get(name)

    def __repr__(self):
        return f'<{self.status} {self.body[:200]!r}>'


class Session:
    """A logged-in browser as the page is: the cookie and the CSRF token."""

    def __init__(self, cookie, csrf):
        self.cookie = cookie
        self.csrf = csrf


def start_emulator(args=()):
    process = subprocess.Popen([EMULATOR, '--headless', '--tcp', '127.0.0.1:0', *args],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    deadline = time.time() + 10
    while time.time() < deadline:
        line = process.stdout.readline()
        if line.startswith('LISTENING tcp'):
            return process, int(line.split()[2].rsplit(':', 1)[1])
    process.kill()
    raise RuntimeError('the emulator did not start')


class Rig:
    def __init__(self, serve_args=(), displays=1, tls=False):
        self.dir = tempfile.mkdtemp(prefix='qmdserve-')
        self.env = dict(os.environ, ZOL_MACHINE_STORE=self.path('machine.ini'), ZOL_USER_STORE=self.path('user.ini'))
        self.vls = self.path('set.vls')
        with open(self.path('machine.ini'), 'w') as f:
            f.write('[Software]\nMorvel\\Lumarex3\\VariablePlugin\\QMDVarFileLoc=%s\n' % self.vls)
        self.emulators = []
        lines = []
        for n in range(1, displays + 1):
            process, port = start_emulator()
            self.emulators.append(process)
            lines.append(f'{n}|Sign {n}|3|127.0.0.1||{port}||1')
        lines.append(f'{displays + 1}|Gone|3|127.0.0.1||1||1')  # nothing listens there
        with open(self.path('Displays.dat'), 'w') as f:
            f.write('\n'.join(lines) + '\n')
        assert self.tool('set', '3', '--data', 'three').returncode == 0
        for name, password in PASSWORDS.items():
            r = self.tool('user', 'add', name, '--role', name, input=password + '\n')
            assert r.returncode == 0, r.stderr
        self.token = self.tool('token', 'create', 'script', '--role', 'operator').stdout.strip()
        self.tls = tls
        args = [QMDVARS, '--displays-file', self.path('Displays.dat'), 'serve', '--listen', '127.0.0.1:0',
                *serve_args]
        self.log = open(self.path('serve.log'), 'w+')
        self.server = subprocess.Popen(args, env=self.env, stdout=subprocess.PIPE, stderr=self.log, text=True)
        line = self.server.stdout.readline()
        if not line.startswith('LISTENING'):
            raise RuntimeError('the server did not start: ' + self.log_text())
        self.url = line.split()[1]
        self.port = int(self.url.rsplit(':', 1)[1].strip('/'))
        self.host = f'127.0.0.1:{self.port}'

    def path(self, name):
        return os.path.join(self.dir, name)

    def tool(self, *args, input=None):
        return subprocess.run([QMDVARS, *args], env=self.env, input=input if input is not None else '',
                              capture_output=True, text=True, timeout=60)

    def log_text(self):
        self.log.flush()
        with open(self.path('serve.log')) as f:
            return f.read()

    def vls_bytes(self):
        with open(self.vls, 'rb') as f:
            return f.read()

    def connection(self, timeout=30):
        if self.tls:
            import ssl
            context = ssl.create_default_context()
            context.check_hostname = False
            context.verify_mode = ssl.CERT_NONE
            return http.client.HTTPSConnection('127.0.0.1', self.port, timeout=timeout, context=context)
        return http.client.HTTPConnection('127.0.0.1', self.port, timeout=timeout)

    def request(self, method, path, body=None, headers=None, session=None, token=None, raw=None):
        h = {'Host': self.host}
        if session:
            h['Cookie'] = 'qmd_session=' + session.cookie
            if method not in ('GET', 'HEAD'):
                h['X-CSRF-Token'] = session.csrf
        if token:
            h['Authorization'] = 'Bearer ' + token
        data = raw
        if body is not None:
            data = json.dumps(body).encode()
            h['Content-Type'] = 'application/json'
        h.update(headers or {})
        h = {k: v for k, v in h.items() if v is not None}
        c = self.connection()
        try:
            c.request(method, path, body=data, headers=h)
            r = c.getresponse()
            return Response(r.status, {k.lower(): v for k, v in r.getheaders()}, r.read().decode('utf-8', 'replace'))
        finally:
            c.close()

    def login(self, name, password=None, headers=None):
        r = self.request('POST', '/api/v1/login', {'name': name, 'password': password or PASSWORDS[name]},
                         headers=headers)
        assert r.status == 200, r
        cookie = r.header('set-cookie').split(';')[0].split('=', 1)[1]
        return Session(cookie, r.json['csrf'])

    def wait_run(self, kind, run_id, token, timeout=60):
        deadline = time.time() + timeout
        while time.time() < deadline:
            r = self.request('GET', f'/api/v1/{kind}/{run_id}', token=token)
            if r.json.get('state') == 'finished':
                return r.json
            time.sleep(0.2)
        raise AssertionError(f'{kind} {run_id} did not finish')

    def stop(self):
        if self.server.poll() is None:
            self.server.send_signal(signal.SIGTERM)
            try:
                self.server.wait(20)
            except subprocess.TimeoutExpired:
                self.server.kill()
                self.server.wait()
        return self.server.returncode

    def close(self):
        self.stop()
        for e in self.emulators:
            e.kill()
            e.wait()
        self.log.close()
        shutil.rmtree(self.dir, ignore_errors=True)


class WebSocket:
    """Just enough of a WebSocket client to read the server's text messages."""

    def __init__(self, rig, cookie=None, token=None, origin=None):
        self.sock = socket.create_connection(('127.0.0.1', rig.port), timeout=30)
        key = base64.b64encode(os.urandom(16)).decode()
        lines = [f'GET /api/v1/events HTTP/1.1', f'Host: {rig.host}', 'Upgrade: websocket', 'Connection: Upgrade',
                 f'Sec-WebSocket-Key: {key}', 'Sec-WebSocket-Version: 13']
        if cookie:
            lines.append('Cookie: qmd_session=' + cookie)
        if token:
            lines.append('Authorization: Bearer ' + token)
        if origin:
            lines.append('Origin: ' + origin)
        self.sock.sendall(('\r\n'.join(lines) + '\r\n\r\n').encode())
        head = b''
        while b'\r\n\r\n' not in head:
            chunk = self.sock.recv(1)
            if not chunk:
                break
            head += chunk
        self.status = int(head.split(b' ')[1]) if head else 0
        self.buffer = b''

    def _read(self, n):
        while len(self.buffer) < n:
            chunk = self.sock.recv(65536)
            if not chunk:
                raise ConnectionError('closed')
            self.buffer += chunk
        data, self.buffer = self.buffer[:n], self.buffer[n:]
        return data

    def message(self):
        b0, b1 = self._read(2)
        length = b1 & 0x7F
        if length == 126:
            length = int.from_bytes(self._read(2), 'big')
        elif length == 127:
            length = int.from_bytes(self._read(8), 'big')
        payload = self._read(length)
        if b0 & 0x0F == 1:
            return json.loads(payload)
        return self.message() if b0 & 0x0F != 8 else None

    def close(self):
        self.sock.close()
