"""Every endpoint of qmdvars serve and every refusal, black-box over HTTP."""

import os
import time
import unittest

from rig import Rig, WebSocket, start_emulator

V = '/api/v1'


class Api(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rig = Rig(serve_args=['--trusted-proxy', '127.0.0.1'])

    @classmethod
    def tearDownClass(cls):
        cls.rig.close()

    def req(self, *args, **kw):
        return self.rig.request(*args, **kw)

    def test_without_credentials_401_and_roles_403(self):
        viewer = self.rig.login('viewer')
        operator = self.rig.login('operator')
        cases = [  # method, path, body, the lowest role that may
            ('GET', '/variables', None, 'viewer'),
            ('GET', '/variables/1', None, 'viewer'),
            ('PATCH', '/variables/1', {'data': 'x'}, 'operator'),
            ('GET', '/displays', None, 'viewer'),
            ('GET', '/updates', None, 'viewer'),
            ('POST', '/updates', {'displays': '1', 'variables': '1'}, 'operator'),
            ('GET', '/audits', None, 'viewer'),
            ('POST', '/audits', {'displays': '1', 'variables': '1'}, 'operator'),
            ('GET', '/history', None, 'viewer'),
            ('GET', '/accounts', None, 'admin'),
            ('POST', '/accounts', {'name': 'x', 'role': 'viewer', 'password': '12345678'}, 'admin'),
            ('GET', '/session', None, 'viewer'),
        ]
        before = self.rig.vls_bytes()
        for method, path, body, lowest in cases:
            with self.subTest(method=method, path=path):
                r = self.req(method, V + path, body)
                self.assertEqual(r.status, 401, r)
                self.assertIn('log in', r.json['error'])
                if lowest != 'viewer':
                    r = self.req(method, V + path, body, session=viewer)
                    self.assertEqual(r.status, 403, r)
                    self.assertIn('needs the role ' + lowest, r.json['error'])
                if lowest == 'admin':
                    self.assertEqual(self.req(method, V + path, body, session=operator).status, 403)
        self.assertEqual(self.rig.vls_bytes(), before)

    def test_login_session_logout(self):
        r = self.req('POST', V + '/login', {'name': 'operator', 'password': 'operator-pass-1'})
        self.assertEqual(r.status, 200)
        cookie = r.header('set-cookie')
        for attribute in ('HttpOnly', 'SameSite=Strict', 'Path=/'):
            self.assertIn(attribute, cookie)
        self.assertNotIn('Secure', cookie)  # plain HTTP on loopback
        self.assertEqual(r.json['role'], 'operator')
        session = self.rig.login('operator')
        self.assertEqual(self.req('GET', V + '/session', session=session).json['name'], 'operator')
        self.assertEqual(self.req('POST', V + '/logout', session=session).status, 200)
        self.assertEqual(self.req('GET', V + '/session', session=session).status, 401)
        log = self.rig.log_text()
        self.assertRegex(log, r'operator POST /api/v1/login 200 logged in')
        self.assertRegex(log, r'operator POST /api/v1/logout 200 logged out')

    def test_bad_login_bodies_400(self):
        for raw, ctype, status, text in [
            (b'{"name": "operator"', 'application/json', 400, 'not valid JSON'),
            (b'[1, 2]', 'application/json', 400, 'a JSON object'),
            (b'{"name": 5, "password": "x"}', 'application/json', 400, '"name" is required'),
            (b'name=a&password=b', 'application/x-www-form-urlencoded', 415, 'Content-Type: application/json'),
        ]:
            with self.subTest(raw=raw):
                r = self.req('POST', V + '/login', raw=raw,
                             headers={'Content-Type': ctype, 'X-Forwarded-For': '192.0.2.50'})
                self.assertEqual(r.status, status, r)
                self.assertIn(text, r.json['error'])

    def test_variables_read(self):
        r = self.req('GET', V + '/variables?range=2-3,257', token=self.rig.token)
        self.assertEqual(r.status, 200)
        self.assertEqual(r.header('etag'), r.json['etag'])
        got = r.json['variables']
        self.assertEqual([v['number'] for v in got], [2, 3, 257])
        self.assertEqual(got[1], {'number': 3, 'kind': 'text', 'label': 'Text Var 3', 'name': 'Text Var 3',
                                  'data': 'three', 'color': 'Red', 'blink': 'no', 'inverse': 'no',
                                  'max_length': 250, 'link': ''})
        self.assertEqual(got[2]['label'], 'Cell Var 1')
        self.assertEqual(len(self.req('GET', V + '/variables', token=self.rig.token).json['variables']), 416)
        for path, status, text in [('/variables?range=1-x', 400, 'bad variable range'),
                                   ('/variables?range=500', 400, 'names no variable'),
                                   ('/variables/417', 404, 'no variable'), ('/variables/abc', 404, 'no variable'),
                                   ('/nothing', 404, 'no /api/v1/nothing'), ('/variables/1/x', 404, 'no')]:
            with self.subTest(path=path):
                r = self.req('GET', V + path, token=self.rig.token)
                self.assertEqual(r.status, status, r)
                self.assertIn(text, r.json['error'])

    def test_change_is_checked_as_set_checks_it(self):
        before = self.rig.vls_bytes()
        for number, change, text in [
            (5, {'color': 'purple'}, 'unknown colour "purple"'),
            (5, {'blink': 'maybe'}, 'blink takes yes or no'),
            (5, {'inverse': 3}, 'inverse takes yes or no'),
            (1, {'max_length': 251}, 'max_length of variable 1 takes 1 to 250'),
            (257, {'max_length': '59'}, 'takes 1 to 58'),
            (5, {'data': 'two\nlines'}, 'line break'),
            (5, {'colour': 'red'}, 'unknown field "colour"'),
            (5, {'data': None}, 'takes a text'),
            (5, {}, 'nothing to change'),
        ]:
            with self.subTest(change=change):
                r = self.req('PATCH', f'{V}/variables/{number}', change, token=self.rig.token)
                self.assertEqual(r.status, 400, r)
                self.assertIn(text, r.json['error'])
                # qmdvars set says the same, naming its option where the API names the field.
                if 'colour' in change or None in change.values():
                    continue
                args = [f'--{k.replace("_", "-")}={v}' for k, v in change.items()]
                told = r.json['error'].replace('fields', 'options')
                for k in change:
                    told = told.replace(k, '--' + k.replace('_', '-'))
                self.assertEqual(self.rig.tool('set', str(number), *args).stderr.splitlines()[0], 'qmdvars: ' + told)
        self.assertEqual(self.rig.vls_bytes(), before)
        r = self.req('PATCH', V + '/variables/6', {'data': 'GATE 12', 'color': 'green', 'blink': True,
                                                    'max_length': 40, 'name': 'Gate'}, token=self.rig.token)
        self.assertEqual(r.status, 200, r)
        self.assertEqual(r.json['variable']['color'], 'Green')
        shown = self.rig.tool('show', '6').stdout
        self.assertEqual(shown, '6\tGate\tGreen\tyes\tno\t40\tGATE 12\n')
        self.assertRegex(self.rig.log_text(), r'script PATCH /api/v1/variables/6 200 changed variable 6')

    def test_if_match_412_and_csrf(self):
        session = self.rig.login('operator')
        etag = self.req('GET', V + '/variables/7', session=session).header('etag')
        r = self.req('PATCH', V + '/variables/7', {'data': 'first'}, session=session, headers={'If-Match': etag})
        self.assertEqual(r.status, 200, r)
        before = self.rig.vls_bytes()
        # The old ETag: the file changed since.
        r = self.req('PATCH', V + '/variables/7', {'data': 'second'}, session=session, headers={'If-Match': etag})
        self.assertEqual(r.status, 412)
        self.assertIn('changed since you read them', r.json['error'])
        # From the page without the CSRF token, or with another one: nothing changes.
        for csrf in (None, 'forged', self.rig.login('operator').csrf):
            with self.subTest(csrf=csrf):
                r = self.req('PATCH', V + '/variables/7', {'data': 'forged'}, session=session,
                             headers={'X-CSRF-Token': csrf})
                self.assertEqual(r.status, 403, r)
                self.assertIn('CSRF', r.json['error'])
        self.assertEqual(self.rig.vls_bytes(), before)
        # A script may leave If-Match out.
        self.assertEqual(self.req('PATCH', V + '/variables/7', {'data': 'third'}, token=self.rig.token).status, 200)
        # Another program holding the file's lock: 503 after the wait, nothing written.
        with open(self.rig.vls + '.lock', 'w') as lock:
            lock.write('1\nother-program\nanother-host\n')
        try:
            r = self.req('PATCH', V + '/variables/7', {'data': 'locked out'}, token=self.rig.token)
        finally:
            os.remove(self.rig.vls + '.lock')
        self.assertEqual((r.status, r.json['error']), (503, 'the variable file is locked by another program; try again'))
        self.assertIn(b'third', self.rig.vls_bytes())
        changes = self.req('GET', V + '/history?var=7', token=self.rig.token).json['entries']
        self.assertEqual([(e['sent'][0]['text'], e['account']) for e in changes if e['kind'] == 'change'],
                         [('third', 'script'), ('first', 'operator')])

    def test_displays(self):
        r = self.req('GET', V + '/displays', token=self.rig.token)
        self.assertEqual([(d['number'], d['name'], d['units']) for d in r.json['displays']],
                         [('1', 'Sign 1', [1]), ('2', 'Gone', [1])])
        self.assertEqual(self.req('GET', V + '/displays/1', token=self.rig.token).json['display']['name'], 'Sign 1')
        self.assertEqual(self.req('GET', V + '/displays/9', token=self.rig.token).status, 404)

    def test_update_audit_history_with_live_progress(self):
        self.assertEqual(self.req('PATCH', V + '/variables/1', {'data': 'HELLO WEB'}, token=self.rig.token).status, 200)
        ws = WebSocket(self.rig, token=self.rig.token)
        self.assertEqual(ws.status, 101)
        self.assertEqual(ws.message()['type'], 'hello')
        r = self.req('POST', V + '/updates', {'displays': '1-2', 'variables': '1', 'mode': 'data'},
                     token=self.rig.token)
        self.assertEqual(r.status, 202, r)
        run_id = r.json['id']
        self.assertEqual(r.header('location'), f'/api/v1/updates/{run_id}')
        seen = []
        while True:
            m = ws.message()
            if m['type'] == 'update' and m['id'] == run_id:
                seen.append(m)
                if m['state'] == 'finished':
                    break
        ws.close()
        final = seen[-1]
        self.assertGreater(len(seen), 1)
        self.assertFalse(final['ok'])
        one, gone = final['displays']
        self.assertEqual((one['result'], one['percent'], one['units']), ('Updated', 100, [{'address': 1, 'sent': True}]))
        self.assertEqual(gone['result'], 'FAILED')
        self.assertEqual([(u['address'], u['sent']) for u in gone['units']], [(1, False)])
        self.assertIn('cannot connect', gone['units'][0]['error'])
        self.assertTrue(gone['error'])
        self.assertEqual(self.req('GET', f'{V}/updates/{run_id}', token=self.rig.token).json, {
            k: v for k, v in final.items() if k != 'type'})
        self.assertIn(run_id, [u['id'] for u in self.req('GET', V + '/updates', token=self.rig.token).json['updates']])

        r = self.req('POST', V + '/audits', {'displays': '1', 'variables': '1-2', 'mode': 'data'}, token=self.rig.token)
        self.assertEqual(r.status, 202)
        audit = self.rig.wait_run('audits', r.json['id'], self.rig.token)
        self.assertEqual(audit['displays'][0]['values'][0]['data'], 'HELLO WEB')
        self.assertEqual(audit['displays'][0]['differences'], [])
        self.assertTrue(audit['ok'])
        # A change not sent yet shows as a difference.
        self.req('PATCH', V + '/variables/2', {'data': 'NOT SENT'}, token=self.rig.token)
        r = self.req('POST', V + '/audits', {'displays': '1', 'variables': '2', 'mode': 'data'}, token=self.rig.token)
        audit = self.rig.wait_run('audits', r.json['id'], self.rig.token)
        self.assertFalse(audit['ok'])
        self.assertIn('NOT SENT', audit['displays'][0]['differences'][0])

        # Every send, audit and change made through the API is recorded with the account behind it.
        entries = self.req('GET', V + '/history?var=1&since=1d', token=self.rig.token).json['entries']
        rows = [(e['kind'], e['display'], e['result'], e['sent'], e['account']) for e in entries]
        for row in [('update', '1', 'Updated', [{'variable': 1, 'text': 'HELLO WEB'}], 'script'),
                    ('update', '2', 'FAILED', [], 'script'), ('audit', '1', 'Audited', [], 'script'),
                    ('change', '', 'Changed', [{'variable': 1, 'text': 'HELLO WEB'}], 'script')]:
            self.assertIn(row, rows)
        shown = self.rig.tool('history', '--var', '2').stdout
        self.assertRegex(shown, r'\d  change \(data\) of 2  Changed  by script\n    2: "NOT SENT"\n')
        self.assertRegex(self.rig.log_text(), rf'script POST /api/v1/updates 202 update {run_id} of variables 1')

    def test_change_during_a_slow_send_stays(self):
        slow, port = start_emulator(['--delay', '150'])
        with open(self.rig.path('Displays.dat')) as f:
            listed = f.read()
        try:
            with open(self.rig.path('Displays.dat'), 'a') as f:
                f.write(f'3|Slow|3|127.0.0.1||{port}||1\n')
            r = self.req('POST', V + '/updates', {'displays': '3', 'variables': '1-20', 'mode': 'data'},
                         token=self.rig.token)
            deadline = time.time() + 30
            while self.req('GET', r.json['url'], token=self.rig.token).json['displays'][0]['phase'] != 'sending':
                self.assertLess(time.time(), deadline)
                time.sleep(0.05)
            self.assertEqual(self.req('PATCH', V + '/variables/9', {'data': 'CHANGED WHILE SENDING'},
                                      token=self.rig.token).status, 200)
            changed = os.stat(self.rig.vls).st_mtime_ns
            self.assertEqual(self.rig.wait_run('updates', r.json['id'], self.rig.token)['displays'][0]['result'],
                             'Updated')
            # The run wrote nothing back, not even the same bytes.
            self.assertEqual(os.stat(self.rig.vls).st_mtime_ns, changed)
        finally:
            with open(self.rig.path('Displays.dat'), 'w') as f:
                f.write(listed)
            slow.kill()
            slow.wait()
        self.assertIn('CHANGED WHILE SENDING', self.rig.tool('show', '9').stdout)

    def test_run_refusals(self):
        for path, body, status, text in [
            ('/updates', {'displays': '9', 'variables': '1'}, 400, 'no display 9'),
            ('/updates', {'displays': '1', 'variables': '1-x'}, 400, 'bad variable range'),
            ('/updates', {'displays': '1', 'variables': '1', 'mode': 'all'}, 400, 'data, attributes or both'),
            ('/updates', {'displays': '1', 'variables': '1', 'retries': -1}, 400, 'whole number from 0'),
            ('/updates', {'variables': '1'}, 400, '"displays" is required'),
            ('/updates', {'displays': '1', 'variables': '1', 'when': 'now'}, 400, 'unknown field "when"'),
            ('/audits', {'displays': '1', 'variables': '1', 'compare': 'yes'}, 400, 'true or false'),
        ]:
            with self.subTest(body=body):
                r = self.req('POST', V + path, body, token=self.rig.token)
                self.assertEqual(r.status, status, r)
                self.assertIn(text, r.json['error'])
        self.assertEqual(self.req('GET', V + '/updates/u999', token=self.rig.token).status, 404)
        self.assertEqual(self.req('GET', V + '/audits/zz', token=self.rig.token).status, 404)
        self.assertEqual(self.req('GET', V + '/history?var=500', token=self.rig.token).status, 400)
        self.assertEqual(self.req('GET', V + '/history?since=soon', token=self.rig.token).status, 400)
        self.assertEqual(self.req('DELETE', V + '/variables/1', token=self.rig.token).status, 405)

    def test_accounts(self):
        admin = self.rig.login('admin')
        r = self.req('POST', V + '/accounts', {'name': 'dora', 'role': 'viewer', 'password': 'dora-pass-1'},
                     session=admin)
        self.assertEqual(r.status, 201, r)
        self.assertEqual(self.req('POST', V + '/accounts', {'name': 'dora', 'role': 'viewer', 'password': 'x' * 9},
                                  session=admin).status, 409)
        self.assertEqual(self.req('POST', V + '/accounts', {'name': 'eve', 'role': 'boss', 'password': 'x' * 9},
                                  session=admin).status, 400)
        self.assertEqual(self.req('POST', V + '/accounts', {'name': 'eve', 'role': 'viewer', 'password': 'short'},
                                  session=admin).status, 400)
        dora = self.rig.login('dora', 'dora-pass-1')
        self.assertEqual(self.req('PATCH', V + '/variables/1', {'data': 'x'}, session=dora).status, 403)
        users = self.req('GET', V + '/accounts', session=admin).json
        self.assertIn({'name': 'dora', 'role': 'viewer'}, users['users'])
        self.assertEqual([t['name'] for t in users['tokens']], ['script'])
        self.assertNotIn('hash', str(users))
        # A changed role ends the account's sessions.
        self.assertEqual(self.req('PATCH', V + '/accounts/dora', {'role': 'operator'}, session=admin).status, 200)
        self.assertEqual(self.req('GET', V + '/session', session=dora).status, 401)
        self.assertEqual(self.req('DELETE', V + '/accounts/dora', session=admin).status, 204)
        self.assertEqual(self.req('DELETE', V + '/accounts/dora', session=admin).status, 404)
        r = self.req('POST', V + '/login', {'name': 'dora', 'password': 'dora-pass-1'},
                     headers={'X-Forwarded-For': '192.0.2.60'})
        self.assertEqual(r.status, 401)
        with open(self.rig.path('accounts.json')) as f:
            text = f.read()
        self.assertNotIn('pass-1', text)
        self.assertIn('$argon2id$', text)

    def test_tokens(self):
        self.assertEqual(self.req('GET', V + '/variables/1', token=self.rig.token).status, 200)
        for bad in ('qmdt_nothing_here', 'garbage', self.rig.token[:-2] + 'xx'):
            with self.subTest(token=bad):
                r = self.req('GET', V + '/variables/1', token=bad)
                self.assertEqual(r.status, 401)
        other = self.rig.tool('token', 'create', 'temp', '--role', 'viewer').stdout.strip()
        self.assertEqual(self.req('GET', V + '/variables/1', token=other).status, 200)
        self.assertEqual(self.req('PATCH', V + '/variables/1', {'data': 'x'}, token=other).status, 403)
        self.assertEqual(self.rig.tool('token', 'revoke', 'temp').returncode, 0)
        self.assertEqual(self.req('GET', V + '/variables/1', token=other).status, 401)

    def test_user_and_token_commands(self):
        for args, stdin, text in [
            (('user', 'add', 'zed'), 'long-enough\n', '--role is required'),
            (('user', 'add', 'zed', '--role', 'boss'), 'long-enough\n', 'unknown role "boss"'),
            (('user', 'add', 'zed', '--role', 'viewer'), 'short\n', 'at least 8 characters'),
            (('user', 'add', 'zed', '--role', 'viewer'), '', 'no password given'),
            (('user', 'add', 'bad name', '--role', 'viewer'), 'long-enough\n', 'letters, digits'),
            (('user', 'add', 'viewer', '--role', 'viewer'), 'long-enough\n', 'already an account'),
            (('user', 'passwd', 'nobody'), 'long-enough\n', 'no account "nobody"'),
            (('token', 'revoke', 'nothing'), '', 'no token "nothing"'),
            (('token', 'frob', 'x'), '', 'token takes create'),
        ]:
            with self.subTest(args=args):
                r = self.rig.tool(*args, input=stdin)
                self.assertEqual(r.returncode, 2, r.stderr)
                self.assertIn(text, r.stderr)
        self.assertEqual(self.rig.tool('user', 'add', 'zed', '--role', 'viewer', input='zed-pass-1\n').returncode, 0)
        self.assertEqual(self.rig.tool('user', 'passwd', 'zed', input='zed-pass-2\n').returncode, 0)
        self.rig.login('zed', 'zed-pass-2')
        self.assertIn('zed\tviewer', self.rig.tool('user', 'list').stdout)
        self.assertEqual(self.rig.tool('user', 'remove', 'zed').returncode, 0)
        self.assertNotIn('zed', self.rig.tool('user', 'list').stdout)
        listed = self.rig.tool('token', 'list').stdout
        self.assertIn('\tscript\toperator\t', listed)
        self.assertNotIn(self.rig.token.rsplit('_', 1)[1], listed)

    def test_login_rate_limit_per_client(self):
        # Behind the trusted proxy (127.0.0.1 here) the client is the forwarded address.
        client = {'X-Forwarded-For': '198.51.100.7'}
        statuses = [self.req('POST', V + '/login', {'name': 'viewer', 'password': 'wrong'}, headers=client).status
                    for _ in range(5)]
        self.assertEqual(statuses, [401] * 5)
        r = self.req('POST', V + '/login', {'name': 'viewer', 'password': 'viewer-pass-1'}, headers=client)
        self.assertEqual(r.status, 429)
        first_wait = int(r.header('retry-after'))
        self.assertGreaterEqual(first_wait, 1)
        # Another client is not held up.
        self.rig.login('viewer', headers={'X-Forwarded-For': '198.51.100.8'})
        time.sleep(first_wait + 0.2)
        self.assertEqual(self.req('POST', V + '/login', {'name': 'viewer', 'password': 'wrong'},
                                  headers=client).status, 401)
        r = self.req('POST', V + '/login', {'name': 'viewer', 'password': 'wrong'}, headers=client)
        self.assertEqual(r.status, 429)
        self.assertGreater(int(r.header('retry-after')), first_wait)  # the delay grows
        self.assertRegex(self.rig.log_text(), r'198\.51\.100\.7 viewer POST /api/v1/login 401 wrong name or password')


class SessionIdle(unittest.TestCase):
    def test_a_session_unused_past_the_idle_time_ends(self):
        rig = Rig(serve_args=['--session-idle', '3'], displays=0)
        try:
            used, unused = rig.login('viewer'), rig.login('viewer')
            for _ in range(8):
                time.sleep(0.5)
                self.assertEqual(rig.request('GET', V + '/session', session=used).status, 200)
            r = rig.request('GET', V + '/variables/1', session=unused)
            self.assertEqual(r.status, 401, r)
            self.assertEqual(rig.request('GET', V + '/session', session=unused).status, 401)
        finally:
            rig.close()


if __name__ == '__main__':
    unittest.main()
