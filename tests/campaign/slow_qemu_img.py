#!/usr/bin/env -S python3 -ISB
"""qemu-img after a pause, so that something can happen in it."""

import os
import sys
import time

time.sleep(int(os.environ["CAMPAIGN_QEMU_IMG_MS"]) / 1000)
real = os.environ["CAMPAIGN_QEMU_IMG"]
os.execv(real, [real, *sys.argv[1:]])
