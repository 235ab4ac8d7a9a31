"""What a program around sushy does: outside.py ADDRESS cold PATH | get PATH COUNT THREADS keep|close | body PATH

cold: login, one GET, logout. get: microseconds of a request. body: one GET after a small one, and its memory.
"""
import sys
import threading
import time

import sushy
import urllib3
from sushy import auth

urllib3.disable_warnings()  # the BMC's certificate is its own, here as for all the others


def login():
    client = sushy.Sushy("https://" + sys.argv[1], auth=auth.SessionAuth("root", "simulator"), verify=False)
    return client


def memory_kib(name):
    with open("/proc/self/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(name))


def get(client, path, connection="close"):
    return client._conn.get(path, headers={"Connection": connection}).content


def microseconds(path, count, threads, connection):
    clients = [login() for _ in range(threads)]
    for client in clients:
        get(client, path, connection)

    def work(client):
        for _ in range(count):
            get(client, path, connection)

    workers = [threading.Thread(target=work, args=(client,)) for client in clients]
    start = time.monotonic()
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    spent = time.monotonic() - start
    for client in clients:
        client._auth.close()
    return spent * 1e6 / (count * threads)


command, path, words = sys.argv[2], sys.argv[3], sys.argv[4:]
if command == "get":
    connection = {"keep": "keep-alive", "close": "close"}[words[2]]
    print("us", microseconds(path, int(words[0]), int(words[1]), connection))
else:
    client = login()
    if command == "body":
        get(client, "/test/bytes/1")
        before, cpu, start = memory_kib("VmRSS:"), time.process_time(), time.monotonic()
    get(client, path)
    if command == "body":
        print("ms", 1e3 * (time.monotonic() - start))
        print("cpuMs", 1e3 * (time.process_time() - cpu))
        print("growthMib", (memory_kib("VmHWM:") - before) / 1024)
        print("peakMib", memory_kib("VmHWM:") / 1024)
    client._auth.close()
