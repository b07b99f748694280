#!/usr/bin/python3
"""Stores the AIO records that arrive on a topic in a ring of rows, as the daemon does.

Usage: store.py DATABASE TOPIC ROWS

The database and its table are there. It is kept open, with a write-ahead log and full synchronisation; each record
is one transaction: count, make room, insert.
"""
import csv
import sqlite3
import sys
import time

import paho.mqtt.client as mqtt

COLUMNS = """StartMark SiteID DeviceID RecordType RequestID SoftwareVer ResponseCode RecordNumber SourceStartMark
    SourceModel SourceRecordType SourceRequestID SourceResponseCode AI1 AI2 SourceTime TxStatus TxStatusTime
    SourceEndMark RecordReadTime EndMark""".split()
INSERT = f"INSERT INTO AIO_table ({','.join(COLUMNS)}) VALUES ({','.join('?' * len(COLUMNS))})"


def store(userdata, payload):
    database, ring = userdata["database"], userdata["ring"]
    number = userdata["number"] % ring + 1
    source = next(csv.reader([payload]))
    own = ["<", "SITE01", "GW0001", 0, int(source[3]), "ORU2_1.0.0", 99, number]
    with database:
        database.execute("BEGIN")
        if database.execute("SELECT COUNT(*) FROM AIO_table").fetchone()[0] == ring:
            database.execute("DELETE FROM AIO_table WHERE RecordNumber = ?", (number,))
        database.execute(INSERT, own + source + [time.strftime("%Y-%m-%d %H:%M:%S"), ">"])
    userdata["number"] = number


def main():
    path, topic, ring = sys.argv[1:]
    database = sqlite3.connect(path, isolation_level=None)
    database.execute("PRAGMA journal_mode = WAL")
    database.execute("PRAGMA synchronous = FULL")
    newest = database.execute("SELECT RecordNumber FROM AIO_table ORDER BY rowid DESC LIMIT 1").fetchone()

    client = mqtt.Client(userdata={"database": database, "ring": int(ring), "number": newest[0] if newest else 0})
    client.on_connect = lambda client, userdata, flags, result: client.subscribe(topic, qos=2)
    client.on_message = lambda client, userdata, message: store(userdata, message.payload.decode())
    client.connect("127.0.0.1")
    client.loop_forever()


main()
