#!/usr/bin/env python3
# A handler with a state: a proactive rebalance that runs until it was asked for three times.
import json
import sys

polls = 0
for line in sys.stdin:
    request = json.loads(line)
    if request["command"] == "start-proactive-rebalance":
        polls = 3
    elif request["command"] == "info-proactive-rebalance":
        polls = max(polls - 1, 0)
    print(json.dumps({"text": json.dumps({"running": polls > 0})}), flush=True)
