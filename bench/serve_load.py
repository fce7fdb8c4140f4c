#!/usr/bin/env python3
"""Load on one `qmdvars serve`: 50 clients reading variables and 5 writing for
30 seconds (bounded in time and count, loopback only). Each writer owns a
variable and writes 1, 2, 3, ...; at the end every variable must hold the last
value its writer was told was written (no lost write) and no request may have
failed. Prints the request counts and the 50th/99th percentiles.

    python3 bench/serve_load.py [--qmdvars build/release/bin/qmdvars] [--seconds 30]
"""

import argparse
import http.client
import json
import os
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'tests', 'serve'))


def percentile(values, p):
    values = sorted(values)
    return values[min(len(values) - 1, int(len(values) * p / 100))] * 1000 if values else float('nan')


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--qmdvars', default=os.path.join(HERE, '..', 'build', 'release', 'bin', 'qmdvars'))
    parser.add_argument('--seconds', type=float, default=30)
    parser.add_argument('--readers', type=int, default=50)
    parser.add_argument('--writers', type=int, default=5)
    args = parser.parse_args()
    os.environ['QMDVARS'] = os.path.abspath(args.qmdvars)
    os.environ.setdefault('EMULATOR', os.path.join(os.path.dirname(os.environ['QMDVARS']), 'lumarex-emulator'))
    import rig as rigmodule
    rig = rigmodule.Rig(displays=0, serve_args=['--max-connections', str(args.readers + args.writers + 8)])
    token = rig.token
    headers = {'Host': rig.host, 'Authorization': 'Bearer ' + token}
    stop = time.time() + args.seconds
    reads, writes, errors = [], [], []
    acked = {}
    lock = threading.Lock()

    def reader(n):
        c = http.client.HTTPConnection('127.0.0.1', rig.port, timeout=30)
        mine = []
        i = 0
        while time.time() < stop:
            i += 1
            started = time.perf_counter()
            try:
                c.request('GET', f'/api/v1/variables/{1 + (n * 7 + i) % 416}', headers=headers)
                r = c.getresponse()
                r.read()
                if r.status != 200:
                    errors.append(f'read {r.status}')
            except Exception as e:  # noqa: BLE001 - every failure counts
                errors.append(f'read {e!r}')
                c = http.client.HTTPConnection('127.0.0.1', rig.port, timeout=30)
                continue
            mine.append(time.perf_counter() - started)
        with lock:
            reads.extend(mine)

    def writer(n):
        c = http.client.HTTPConnection('127.0.0.1', rig.port, timeout=30)
        variable = 200 + n
        mine = []
        value = 0
        while time.time() < stop:
            value += 1
            body = json.dumps({'data': f'writer {n} value {value}'})
            started = time.perf_counter()
            try:
                c.request('PATCH', f'/api/v1/variables/{variable}', body=body,
                          headers={**headers, 'Content-Type': 'application/json'})
                r = c.getresponse()
                r.read()
                if r.status == 200:
                    acked[variable] = f'writer {n} value {value}'
                else:
                    errors.append(f'write {r.status}')
            except Exception as e:  # noqa: BLE001
                errors.append(f'write {e!r}')
                c = http.client.HTTPConnection('127.0.0.1', rig.port, timeout=30)
                continue
            mine.append(time.perf_counter() - started)
        with lock:
            writes.extend(mine)

    try:
        threads = [threading.Thread(target=reader, args=(n,)) for n in range(args.readers)]
        threads += [threading.Thread(target=writer, args=(n,)) for n in range(args.writers)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        final = rig.request('GET', '/api/v1/variables?range=200-%d' % (199 + args.writers), token=token).json
        held = {v['number']: v['data'] for v in final['variables']}
        lost = {k: (v, held.get(k)) for k, v in acked.items() if held.get(k) != v}
    finally:
        rig.close()
    print(f'{args.readers} readers, {args.writers} writers, {args.seconds:.0f} s')
    print(f'reads:  {len(reads)} ({len(reads) / args.seconds:.0f}/s), p50 {percentile(reads, 50):.1f} ms, '
          f'p99 {percentile(reads, 99):.1f} ms')
    print(f'writes: {len(writes)} ({len(writes) / args.seconds:.0f}/s), p50 {percentile(writes, 50):.1f} ms, '
          f'p99 {percentile(writes, 99):.1f} ms')
    print(f'errors: {len(errors)} {sorted(set(errors))[:5]}')
    print(f'lost writes: {len(lost)} {lost}')
    return 1 if errors or lost else 0


if __name__ == '__main__':
    sys.exit(main())
