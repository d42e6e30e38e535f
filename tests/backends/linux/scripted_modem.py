"""A modem that implements the commands of 3GPP TS 27.007 that ModemManager needs to enable it and to connect its data.

Usage: scripted_modem.py ABSTRACT_SOCKET SIM    (SIM: what AT+CPIN? answers: "READY", "SIM PIN")
"""

import socket
import sys
import threading

ANSWERS = {
    "AT+CGMI": "Scripted", "AT+CGMM": "Modem", "AT+CGMR": "1", "AT+CGSN": "490154203237518", "ATI": "Scripted modem",
    "AT+GCAP": "+GCAP: +CGSM", "AT+CFUN?": "+CFUN: 1", "AT+CPIN?": "+CPIN: " + sys.argv[2], "AT+CIMI": "001010000000001",
    "AT+CRSM=176,12258,0,0,10": '+CRSM: 144,0,"98100000000000000010"', "AT+COPS?": '+COPS: 0,0,"Test"',
    "AT+CREG?": '+CREG: 2,1,"00A1","0000001F",2', "AT+CGREG?": '+CGREG: 2,1,"00A1","0000001F",2', "AT+CSQ": "+CSQ: 20,99",
    "AT+CGDCONT=?": '+CGDCONT: (1-4),"IP",,,(0),(0)', "AT+CGDCONT?": '+CGDCONT: 1,"IP","internet","",0,0',
}
ACCEPTED = ("ATE", "ATV", "ATX", "ATH", "AT&", "AT+CMEE", "AT+CFUN=", "AT+CREG=", "AT+CGREG=", "AT+COPS=", "AT+CGDCONT=",
            "AT+CGACT")


def answer(command):
    if command in ANSWERS:
        return f"\r\n{ANSWERS[command]}\r\n\r\nOK\r\n"
    if command.startswith("ATD"):
        return "\r\nCONNECT\r\n"
    return "\r\nOK\r\n" if command == "AT" or command.startswith(ACCEPTED) else "\r\nERROR\r\n"


def serve(connection):
    with connection, connection.makefile("rwb", buffering=0) as lines:
        pending = b""
        while received := lines.read(4096):
            *commands, pending = (pending + received).split(b"\r")
            for command in filter(None, (command.decode(errors="replace").strip() for command in commands)):
                lines.write(answer(command).encode())


with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as listener:
    listener.bind("\0" + sys.argv[1])
    listener.listen()
    print("listening", flush=True)
    while True:
        threading.Thread(target=serve, args=(listener.accept()[0],), daemon=True).start()
