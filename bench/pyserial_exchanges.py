"""What somebody without rigtool writes: plain exchanges with pyserial, answers not checked.

pyserial_exchanges.py camera PATH         finds the camera and asks for pan, tilt and zoom
pyserial_exchanges.py servo PATH COUNT    reads register 3 of servo 1 COUNT times at 1 Mbit/s
"""

import sys

import serial


def camera(path):
    with serial.Serial(path, 9600, timeout=1) as line:
        for packet in ("883001FF", "88010001FF", "81090612FF", "81090447FF"):
            line.write(bytes.fromhex(packet))
            if not line.read_until(b"\xff"):
                sys.exit("no answer")


def servo(path, count):
    with serial.Serial(path, 1000000, timeout=0.1) as line:
        for _ in range(count):
            line.write(bytes.fromhex("FFFF0104020301F4"))
            if len(line.read(7)) != 7:
                sys.exit("no answer")


if sys.argv[1] == "camera":
    camera(sys.argv[2])
else:
    servo(sys.argv[2], int(sys.argv[3]))
