#!/usr/bin/python3
"""Hands over what waits in the tables of a folder, as the daemon does: the oldest unsent row of each kind, and the
next one when its outcome has come and stands in the row.

Usage: forward.py FOLDER PREFIX

Packets go to PREFIX/<kind>/Record, outcomes come on PREFIX/<kind>/Status. The databases are kept open, with a
write-ahead log and full synchronisation. Small packets are sent at once, as the daemon sends them.
"""
import socket
import sqlite3
import sys

import paho.mqtt.client as mqtt

FRONT = "StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,"
METER = "MeterModel,MeterType,SlaveID,"
REGISTERS = "StartingRegisterAddress,FunctionCode,"
KINDS = {
    "AIO": ("AIODataCollectorDB.db", "AIO_table", "AI1,AI2,RecordType"),
    "DIO": ("DIODataCollectorDB.db", "DIO_table", "DI1,DI2,RecordType"),
    "Temperature": ("TemperatureDataCollectorDB.db", "Temperature_table", "Temperature1,Temperature2,RecordType"),
    "RS485": ("EMeterRS485DataCollectorDb.db", "EnergyMeter_RS485_table", "InterfaceID,MeterID,MeterIndex," + METER
              + "CommIP,MeterResponseCode," + REGISTERS + "REG1,REG2,REG3,RecordType"),
    "RS232": ("RS232DataCollectorDb.db", "RS232_table", "InterfaceID,MeterID," + METER + "MeterResponseCode,"
              + REGISTERS + "RegisterCount,REG1,REG2,REG3"),
    "SNMP": ("SNMPDataCollectorDb.db", "SNMP_table", "InterfaceID,SnmpDeviceID,DeviceName,DeviceType,DeviceIPAddress,"
             "DevicePortNumber,DeviceResponseCode,RecordType,DataStartMark,SNMPData"),
}


class Kind:
    def __init__(self, folder, prefix, word, file, table, columns):
        self.packets, self.outcomes = f"{prefix}/{word}/Record", f"{prefix}/{word}/Status"
        self.unsent = f"SELECT {FRONT}{columns},EndMark FROM {table} WHERE TxStatus = 0 ORDER BY rowid LIMIT 1"
        self.update = f"UPDATE {table} SET TxStatus = ?, TxStatusTime = ? WHERE RecordNumber = ? AND RecordReadTime = ?"
        self.database = sqlite3.connect(f"{folder}/{file}", isolation_level=None)
        self.database.execute("PRAGMA journal_mode = WAL")
        self.database.execute("PRAGMA synchronous = FULL")

    def hand_over(self, client):
        row = self.database.execute(self.unsent).fetchone()
        if row:
            client.publish(self.packets, ",".join(map(str, row)), qos=2)

    def confirm(self, outcome):
        _, read_time, number, status, time = outcome.split(",")
        self.database.execute(self.update, (status, time, number, read_time))


def on_connect(client, kinds, flags, result):
    client.subscribe([(outcomes, 2) for outcomes in kinds])
    for kind in kinds.values():
        kind.hand_over(client)


def on_message(client, kinds, message):
    kind = kinds[message.topic]
    kind.confirm(message.payload.decode())
    kind.hand_over(client)


def on_socket_open(client, kinds, connection):
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)


def main():
    folder, prefix = sys.argv[1:]
    kinds = [Kind(folder, prefix, word, *facts) for word, facts in KINDS.items()]
    client = mqtt.Client(userdata={kind.outcomes: kind for kind in kinds})
    client.on_connect = on_connect
    client.on_message = on_message
    client.on_socket_open = on_socket_open
    client.connect("127.0.0.1")
    client.loop_forever()


main()
