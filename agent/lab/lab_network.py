# SPDX-License-Identifier: Apache-2.0
"""The lab's machines: namespaces, a routing daemon and its peer, the switch, the agent. Everything lives in namespaces of
its own and ends with the process that made them."""
from __future__ import annotations

import json
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path
from typing import Any, Callable

FRR = Path("/usr/lib/frr")
SCHEMA = "/usr/share/openvswitch/vswitch.ovsschema"
COOKIE = "0x7636636f6d70"  # of the agent's flows
LINKS = {"peer0": 2, "peer1": 3, "stub0": 4}  # interface of the router -> the switch's port that it stands for


class LabError(Exception):
    pass


def run(*command: str, check: bool = True, text: str | None = None) -> str:
    done = subprocess.run(command, input=text, capture_output=True, text=True)
    if check and done.returncode:
        raise LabError(f"{' '.join(command)[:200]}: {done.stderr.strip() or done.stdout.strip()}")
    return done.stdout


def wait_for(what: str, seconds: float, holds: Callable[[], bool]) -> float:
    began = time.monotonic()
    while not holds():
        if time.monotonic() - began > seconds:
            raise LabError(f"{what}: not within {seconds:.0f} s")
        time.sleep(0.05)
    return time.monotonic() - began


class Network:
    def __init__(self, folder: Path, programs: Path, here: Path):
        self.folder, self.programs, self.here = folder, programs, here
        self.started: list[subprocess.Popen] = []
        self.agent: subprocess.Popen | None = None
        self.hosts: subprocess.Popen | None = None
        self.agent_log = folder / "v6compd.log"

    def start(self, *command: str, log: str, **more: Any) -> subprocess.Popen:
        process = subprocess.Popen(command, stdout=open(self.folder / log, "a"), stderr=subprocess.STDOUT, **more)
        self.started.append(process)
        return process

    # Namespaces: this one has the router, the switch and the agent; `peer` the other router; `hosts` those who send
    # and receive.
    def make_links(self) -> None:
        run("mount", "-t", "tmpfs", "none", "/run")
        for folder in ("frr", "openvswitch", "bird"):
            Path("/run", folder).mkdir()
        shutil.chown("/run/frr", "frr", "frr")  # its daemons do not stay root
        run("ip", "link", "set", "lo", "up")
        Path("/proc/sys/net/ipv6/conf/all/accept_dad").write_text("0")
        Path("/proc/sys/net/ipv6/conf/default/accept_dad").write_text("0")
        for name in ("peer", "hosts"):
            run("ip", "netns", "add", name)
            run("ip", "-n", name, "link", "set", "lo", "up")
            run("ip", "netns", "exec", name, "sysctl", "-qw", "net.ipv6.conf.default.accept_dad=0")
        for i, name in enumerate(LINKS):
            run("ip", "link", "add", name, "type", "veth", "peer", "name", f"far{i}", "netns", "peer")
            run("ip", "address", "add", f"fd00:0:0:f{i:03x}::1/64", "dev", name, "nodad")
            run("ip", "-n", "peer", "address", "add", f"fd00:0:0:f{i:03x}::2/64", "dev", f"far{i}", "nodad")
            run("ip", "link", "set", name, "up")
            run("ip", "-n", "peer", "link", "set", f"far{i}", "up")
        for port in (1, *LINKS.values()):
            run("ip", "link", "add", f"sw{port}", "type", "veth", "peer", "name", f"host{port}", "netns", "hosts")
            run("ip", "netns", "exec", "hosts", "sysctl", "-qw", f"net.ipv6.conf.host{port}.disable_ipv6=1")
            Path(f"/proc/sys/net/ipv6/conf/sw{port}/disable_ipv6").write_text("1")
            run("ip", "link", "set", f"sw{port}", "up")
            run("ip", "-n", "hosts", "link", "set", f"host{port}", "up")

    def start_switch(self) -> None:
        database = str(self.folder / "switch.db")
        run("ovsdb-tool", "create", database, SCHEMA)
        self.start("ovsdb-server", database, "--remote=punix:/run/openvswitch/db.sock", log="ovsdb.log")
        wait_for("the switch's database", 10, lambda: Path("/run/openvswitch/db.sock").exists())
        run("ovs-vsctl", "--no-wait", "init")
        self.start("ovs-vswitchd", "unix:/run/openvswitch/db.sock", log="vswitchd.log")
        command = ["ovs-vsctl", "--timeout=20", "add-br", "br0", "--", "set", "bridge", "br0", "datapath_type=netdev",
                   "protocols=OpenFlow15", "fail_mode=secure"]
        for port in (1, *LINKS.values()):
            command += ["--", "add-port", "br0", f"sw{port}", "--", "set", "interface", f"sw{port}", f"ofport_request={port}"]
        run(*command)

    def announce(self, routes: dict[str, int]) -> None:
        """What the peer announces: prefix -> the switch's port, by the link that the next hop is on."""
        hops = {port: i for i, port in enumerate(LINKS.values())}
        lines = [f"route {p} blackhole {{ bgp_next_hop = fd00:0:0:f{hops[port]:03x}::2; }};" for p, port in routes.items()]
        (self.folder / "routes.conf").write_text("\n".join(lines) + "\n")

    def start_routers(self, static: dict[str, int]) -> None:
        (self.folder / "bird.conf").write_text(f"""
router id 10.0.0.2;
protocol device {{ }}
protocol static announced {{
  ipv6;
include "{self.folder}/routes.conf";
}}
protocol bgp switch_side {{
  local fd00:0:0:f000::2 as 65002;
  neighbor fd00:0:0:f000::1 as 65001;
  direct; connect delay time 1; connect retry time 1; error wait time 1, 2;
  ipv6 {{ import none; export where source = RTS_STATIC; next hop keep; }};
}}
""")
        names = {port: name for name, port in LINKS.items()}
        (self.folder / "zebra.conf").write_text("fpm address 127.0.0.1 port 2620\nno fpm use-next-hop-groups\n")
        (self.folder / "staticd.conf").write_text(
            "".join(f"ipv6 route {p} {names[port]}\n" for p, port in static.items()))
        (self.folder / "bgpd.conf").write_text("""router bgp 65001
 bgp router-id 10.0.0.1
 no bgp ebgp-requires-policy
 no bgp default ipv4-unicast
 neighbor fd00:0:0:f000::2 remote-as 65002
 neighbor fd00:0:0:f000::2 timers 10 30
 neighbor fd00:0:0:f000::2 timers connect 1
 neighbor fd00:0:0:f000::2 passive
 neighbor fd00:0:0:f000::2 advertisement-interval 0
 address-family ipv6 unicast
  neighbor fd00:0:0:f000::2 activate
 exit-address-family
""")
        for name, more in (("zebra", ["-M", "dplane_fpm_nl"]), ("bgpd", []), ("staticd", [])):
            self.start(str(FRR / name), "-f", str(self.folder / f"{name}.conf"), "-i",
                       f"/run/frr/{name}.pid", "--log", "stdout", *more, log=f"{name}.log")
            if name == "zebra":
                wait_for("zebra", 15, lambda: Path("/run/frr/zserv.api").exists())
        self.start("ip", "netns", "exec", "peer", "bird", "-f", "-c", str(self.folder / "bird.conf"), "-s",
                   "/run/bird/bird.ctl", log="bird.log")

    def tell_peer(self) -> None:
        """Announce what routes.conf says now."""
        run("birdc", "-s", "/run/bird/bird.ctl", "configure")

    def start_agent(self) -> None:
        environment = dict(os.environ, PATH=f"{self.folder}:{os.environ['PATH']}")
        ports = [word for name, port in LINKS.items() for word in ("--port", f"{name}={port}")]
        self.agent = self.start(
            str(self.programs / "v6compd"), "--fpm", "127.0.0.1:2620", "--openflow", "br0", "--rules",
            str(self.folder / "rules.csv"), "--journal", str(self.folder / "journal"), "--control",
            str(self.folder / "control"), "--metrics", "127.0.0.1:9469", "--other-port", "0", "--gather-ms", "50",
            "--quiet-ms", "1500", *ports, log="v6compd.log", env=environment)

    def die_before_step(self, step: int) -> None:
        """The agent's next ovs-ofctl but `step` kills it instead of writing. -9, without a word."""
        (self.folder / "die").write_text(f"{step}\n")

    def install_deadly_program(self) -> None:
        """An ovs-ofctl in front of the real one, which can kill the agent between two steps of a batch."""
        real = run("which", "ovs-ofctl").strip()
        deadly = self.folder / "ovs-ofctl"
        deadly.write_text(f"""#!/bin/sh
if [ -f {self.folder}/die ] && [ "$4" = add-flows ]; then
  left=$(cat {self.folder}/die)
  if [ "$left" -le 0 ]; then
    rm {self.folder}/die
    kill -9 $PPID
    exit 1
  fi
  echo $((left - 1)) > {self.folder}/die
fi
exec {real} "$@"
""")
        deadly.chmod(0o755)

    def ask(self, *command: str) -> dict:
        """v6compctl; {} while nobody answers."""
        text = run(str(self.programs / "v6compctl"), "--json", "--control", str(self.folder / "control"), *command,
                   check=False)
        return json.loads(text) if text.startswith("{") else {}

    def wait_in_step(self, routes: int, seconds: float = 60) -> float:
        """Until the agent has so many routes from its feed and the switch has them too."""
        def holds() -> bool:
            status = self.ask("status")
            return (status.get("feed") == "up" and status["state"] == "good" and status["routes"] == routes
                    and status["pending"] == 0 and status["switch"]["in_step"])
        try:
            return wait_for(f"the switch with {routes} routes", seconds, holds)
        except LabError as error:
            raise LabError(f"{error}; the agent says {json.dumps(self.ask('status'))[:300]}") from None

    def flows(self) -> dict[str, float]:
        """The agent's flows in the switch, and how old each is in seconds."""
        lines = run("ovs-ofctl", "-O", "OpenFlow15", "--no-names", "dump-flows", "br0", f"cookie={COOKIE}/-1").splitlines()
        flows = {}
        for line in lines:
            if "actions=" in line:
                words = [word.strip() for word in line.split(",")]
                kept = [w for w in words if not w.startswith(("duration=", "n_packets=", "n_bytes=", "idle_age="))]
                age = next(w for w in words if w.startswith("duration="))
                flows[",".join(kept)] = float(age[len("duration="):-1])
        return flows

    def delete_flows(self) -> None:
        run("ovs-ofctl", "-O", "OpenFlow15", "del-flows", "br0")

    def start_hosts(self) -> None:
        sinks = [f"{port}=host{port}" for port in LINKS.values()]
        self.hosts = subprocess.Popen(
            ["ip", "netns", "exec", "hosts", "/usr/bin/python3", str(self.here / "lab_packets.py"), "host1", *sinks],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, stderr=open(self.folder / "hosts.log", "a"))
        self.started.append(self.hosts)

    def ask_hosts(self, **request: Any) -> None:
        assert self.hosts and self.hosts.stdin
        self.hosts.stdin.write(json.dumps(request) + "\n")
        self.hosts.stdin.flush()

    def hosts_answer(self) -> Any:
        assert self.hosts and self.hosts.stdout
        line = self.hosts.stdout.readline()
        if not line:
            raise LabError("the hosts have ended: " + (self.folder / "hosts.log").read_text()[-500:])
        return json.loads(line)

    def stop(self) -> None:
        for process in reversed(self.started):
            if process.poll() is None:
                process.send_signal(signal.SIGKILL)
                process.wait()
