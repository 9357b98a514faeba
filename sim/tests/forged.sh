# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2016,SC2317
# Another user listens under the name of a run of this user, and answers.
# shellcheck source=sim/tests/common.sh
. "$(dirname "$0")/common.sh"
[ "$(id -u)" = 0 ] || skip "only root can act as another user"
command -v setpriv >/dev/null || skip "no setpriv"
python=$(PATH=/usr/bin:/bin command -v python3) || skip "no python3"

forger='
import socket, sys
listener = socket.socket(socket.AF_UNIX)
listener.bind("\0velmor-sim/%s/%s" % (sys.argv[1], sys.argv[2]))
listener.listen()
print("ready", flush=True)
while True:
    client = listener.accept()[0]
    print(client.recv(100).decode(), end="", flush=True)
    try:
        client.sendall(b"{\"good\": true, \"text\": \"forged\"}\n")
    except OSError:
        pass
    client.close()
'
touch heard started
setpriv --reuid 65534 --regid 65534 --clear-groups "$python" -c "$forger" 0 "forged-$$" >heard &
forged=$!
until grep -q ready heard; do sleep 0.05; done
expect "another user under a name of ours" 1 "velmor-sim: the run named forged-$$ is another user's" \
    "$sim" get --name "forged-$$" thermal.temp
expect "what the other user heard" 0 ready cat heard
expect "the names of our runs" 0 "" sh -c "'$sim' runs | grep 'forged-$$'; true"
kill $forged

# Nobody takes what waits for it, and its queue is full.
silent='
import socket, sys, time
address = "\0velmor-sim/%s/%s" % (sys.argv[1], sys.argv[2])
listener = socket.socket(socket.AF_UNIX)
listener.bind(address)
listener.listen(0)
waiting = []
try:
    while True:
        waiting.append(socket.socket(socket.AF_UNIX))
        waiting[-1].setblocking(False)
        waiting[-1].connect(address)
except BlockingIOError:
    print("ready", flush=True)
time.sleep(600)
'
setpriv --reuid 65534 --regid 65534 --clear-groups "$python" -c "$silent" 0 "silent-$$" >started &
forged=$!
until grep -q ready started; do sleep 0.05; done
expect "the names of our runs beside one that hangs" 0 "" timeout 600 sh -c "'$sim' runs | grep 'silent-$$'; true"
expect "a command to one that hangs" 1 "velmor-sim: no run named silent-$$: Resource temporarily unavailable" \
    timeout 600 "$sim" get --name "silent-$$" thermal.temp
kill $forged
finish
