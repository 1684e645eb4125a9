# SPDX-License-Identifier: Apache-2.0
"""A running switch: routes come in by BGP, 64-bit keys go to the data plane, packets tell whether they are right.

Started by scripts/lab, inside namespaces of its own. Exit status 0: all held; 1: something did not; 3: it could not be
run."""
from __future__ import annotations

import argparse
import ipaddress
import random
import re
import sys
import time
import urllib.request
from pathlib import Path

import lab_plan
from lab_network import LINKS, LabError, Network, wait_for
from lab_plan import Prefix, Probe, Verdict

REPEATS = 3  # a packet that should have arrived is sent so many times again before it counts: a queue may have been full


def say(text: str) -> None:
    print(f"== {text}", flush=True)


def text_of(address: int) -> str:
    return str(ipaddress.IPv6Address(address))


class Lab:
    def __init__(self, options: argparse.Namespace, network: Network):
        self.options, self.network = options, network
        chance = random.Random(options.seed)
        table = lab_plan.read_table(options.table, options.prefixes)
        self.static = {p: 4 for p in sorted(chance.sample(table, 64))}
        self.announced = {p: chance.choice((2, 3)) for p in table if p not in self.static}
        self.rules = lab_plan.make_rules(table, options.rules, chance)
        self.probes = lab_plan.make_probes(table, self.rules, options.probes, chance)
        self.changing = lab_plan.choose_apart(list(self.announced), options.changes, chance)
        self.connected = len(LINKS) + 1  # the links' own prefixes, and fe80::/64
        self.failures: list[str] = []
        self.summary: list[tuple[str, str]] = []
        self.lost = 0

    def fail(self, text: str) -> None:
        self.failures.append(text)
        say("FAILED: " + text)

    def routes(self, without: set[Prefix] = frozenset()) -> dict[Prefix, int]:  # type: ignore[assignment]
        return {p: port for p, port in {**self.announced, **self.static}.items() if p not in without}

    def count(self, without: set[Prefix] = frozenset()) -> int:  # type: ignore[assignment]
        return len(self.routes(without)) + self.connected

    def announce(self, without: set[Prefix]) -> None:
        self.network.announce({str(p): port for p, port in self.announced.items() if p not in without})

    # -- steps ---------------------------------------------------------------------------------------------------------

    def bring_up(self) -> None:
        say("namespaces, Open vSwitch, FRR and BIRD")
        network = self.network
        network.make_links()
        network.start_switch()
        (network.folder / "rules.csv").write_text(lab_plan.rules_csv(self.rules))
        network.install_deadly_program()
        network.start_agent()
        self.announce(set())
        network.start_routers({str(p): port for p, port in self.static.items()})
        network.start_hosts()
        network.ask_hosts(do="prepare", probes=[[text_of(p.source), text_of(p.destination), p.port] for p in self.probes])
        network.hosts_answer()
        took = network.wait_in_step(self.count(), 90)
        status = network.ask("status")
        say(f"{status['routes']} routes by BGP, staticd and the links are in the switch after {took:.1f} s")
        destination = status["tables"]["destination"]
        self.summary += [
            ("routes", str(status["routes"])),
            ("rules", f"{status['rules']} in {status['switch']['rule_entries']} flows"),
            ("flows", f"{len(network.flows())}: {status['switch']['lookup_entries']} lookups and the rules"),
            ("bits of a rule's addresses", "128 instead of 256; the longest destination code has "
             f"{destination['deepest_code_bits']}, {destination['bits_needed']} would do"),
        ]

    def check_each(self, expected: Verdict, when: str) -> None:
        """Every probe once, compared with the verdict on 128 bits."""
        wanted = [expected.of(probe) for probe in self.probes]
        self.network.ask_hosts(do="send", indexes=list(range(len(self.probes))))
        came = self.network.hosts_answer()
        for _ in range(REPEATS):
            missing = [i for i, port in enumerate(came) if port == 0 and wanted[i] != 0]
            if not missing:
                break
            self.lost += len(missing)
            self.network.ask_hosts(do="send", indexes=missing)
            for i, port in zip(missing, self.network.hosts_answer()):
                came[i] = port
        wrong = [i for i, port in enumerate(came) if port != wanted[i]]
        for i in wrong[:5]:
            probe = self.probes[i]
            self.fail(f"{when}: {text_of(probe.source)} -> {text_of(probe.destination)} port {probe.port} left by "
                      f"{came[i]}, not {wanted[i]}")
        if len(wrong) > 5:
            self.fail(f"{when}: {len(wrong)} packets of {len(came)} went wrong in all")
        say(f"{when}: {len(came)} packets, {sum(port != 0 for port in came)} let through, {len(wrong)} wrong")

    def change_under_traffic(self, what: str, before: set[Prefix], after: set[Prefix], seconds: float) -> None:
        """The peer withdraws or announces while packets flow: each gets the old verdict or the new one."""
        old, new = Verdict(self.routes(before), self.rules), Verdict(self.routes(after), self.rules)
        allowed = [{old.of(probe), new.of(probe)} for probe in self.probes]
        differing = sum(len(ports) == 2 for ports in allowed)
        self.announce(after)
        self.network.ask_hosts(do="flow", seconds=seconds)
        time.sleep(0.5)
        began = time.monotonic()
        self.network.tell_peer()
        self.network.wait_in_step(self.count(after))
        took = time.monotonic() - began
        sent = self.network.hosts_answer()
        third = [(i, port) for i, _, port in sent if port not in allowed[i] and port != 0]
        absent = [i for i, _, port in sent if port == 0 and 0 not in allowed[i]]
        # A packet that did not arrive although both tables let it through: lost in a queue, or dropped by a flow? A
        # dropped one would be no accident: on that address it would happen at every such change.
        self.lost += len(absent)
        if len(absent) > len(sent) / 200:
            self.fail(f"{what}: {len(absent)} packets of {len(sent)} did not arrive that both tables let through")
        for i, port in third[:5]:
            self.fail(f"{what}: {text_of(self.probes[i].destination)} left by {port}, which neither table says")
        say(f"{what}: {abs(len(after) - len(before))} prefixes in {took:.1f} s, {len(sent)} packets meanwhile to "
            f"{differing} addresses that change and {len(allowed) - differing} that do not; third verdicts: {len(third)}, "
            f"lost: {len(absent)}")
        self.check_each(new, "after that")

    def kill_in_batch(self, before: set[Prefix], after: set[Prefix]) -> None:
        say("the agent is killed between two steps of a batch")
        network = self.network
        old, new = Verdict(self.routes(before), self.rules), Verdict(self.routes(after), self.rules)
        allowed = [{old.of(probe), new.of(probe)} for probe in self.probes]
        flows_before = network.flows()
        self.announce(after)
        network.die_before_step(1)
        network.tell_peer()
        assert network.agent
        wait_for("the agent's end", 20, lambda: network.agent is None or network.agent.poll() is not None)
        network.ask_hosts(do="flow", seconds=3)
        sent = network.hosts_answer()
        third = [i for i, _, port in sent if port not in allowed[i] and port != 0]
        halfway = network.flows()
        if third:
            self.fail(f"without the agent {len(third)} packets got a third verdict")
        if set(halfway) == set(flows_before):
            self.fail("nothing was written before the kill: the batch was not in the middle")
        log_before = network.agent_log.stat().st_size
        restarted = time.monotonic()
        network.start_agent()
        network.wait_in_step(self.count(after))
        took = time.monotonic() - restarted
        flows_after = network.flows()
        log = network.agent_log.read_text()[log_before:]
        found = re.search(r"in step: (\d+) outstanding writes done, (\d+) entries put right", log)
        outstanding, foreign = (int(found[1]), int(found[2])) if found else (-1, -1)
        rewritten = [f for f, age in flows_after.items() if f in halfway and age < halfway[f]]
        if outstanding <= 0 or foreign != 0:
            self.fail(f"after the kill: {outstanding} outstanding writes, {foreign} entries that differ otherwise")
        if rewritten:
            self.fail(f"after the kill {len(rewritten)} flows were written that were right already")
        say(f"killed with {len(set(halfway) ^ set(flows_before))} flows of the batch changed; in step again {took:.1f} s after "
            f"the restart: {outstanding} outstanding writes done, {foreign} others, "
            f"{len(set(flows_after) & set(halfway)) - len(rewritten)} flows untouched, {len(rewritten)} written again; {len(sent)} "
            f"packets meanwhile, third verdicts: {len(third)}")
        self.summary.append(("kill -9 in a batch", f"{outstanding} outstanding writes, nothing else touched"))
        self.check_each(new, "after the restart")

    def lose_flows(self, before: set[Prefix]) -> None:
        say("all flows are deleted, as by a switch that is started anew")
        flows = self.network.flows()
        self.network.delete_flows()
        took = wait_for("the flows again", 60, lambda: set(self.network.flows()) == set(flows))
        self.network.wait_in_step(self.count(before))
        self.summary.append(("a switch that lost its flows", f"has all of them again after {took:.1f} s"))
        self.check_each(Verdict(self.routes(before), self.rules), "after that")

    def read_metrics(self) -> None:
        text = urllib.request.urlopen("http://127.0.0.1:9469/metrics", timeout=5).read().decode()
        health = urllib.request.urlopen("http://127.0.0.1:9469/healthz", timeout=5).read().decode().strip()
        total = float(re.search(r"v6comp_route_to_switch_seconds_count (\S+)", text)[1])  # type: ignore[index]
        buckets = re.findall(r'v6comp_route_to_switch_seconds_bucket\{le="([^"]+)"\} (\S+)', text)
        half = next((le for le, n in buckets if float(n) >= total / 2), "?")
        most = next((le for le, n in buckets if float(n) >= total * 0.99), "?")
        self.summary.append(("route to switch", f"half within {half} s, 99 % within {most} s, of {total:.0f} changes"))
        if health != "good":
            self.fail(f"/healthz says {health}")

    def run(self) -> None:
        changing = set(self.changing)
        half = set(self.changing[: len(self.changing) // 2])
        self.bring_up()
        self.check_each(Verdict(self.routes(), self.rules), "at rest")
        self.change_under_traffic("withdrawn", set(), changing, 8)
        self.change_under_traffic("announced again", changing, set(), 8)
        # Some go and others come at once, so that the batch has several steps.
        self.change_under_traffic("half of them withdrawn", set(), half, 6)
        self.read_metrics()
        self.lose_flows(half)
        self.kill_in_batch(half, changing - half)

    def report(self) -> int:
        self.summary.append(("packets lost in queues and sent again", str(self.lost)))
        print()
        for name, text in self.summary:
            print(f"{name:<40} {text}")
        for failure in self.failures:
            print(f"FAILED: {failure}")
        print("lab: something did not hold" if self.failures else "lab: all held", flush=True)
        return 1 if self.failures else 0


def main() -> int:
    parser = argparse.ArgumentParser()
    here = Path(__file__).resolve().parent
    parser.add_argument("--programs", type=Path, required=True, help="folder with v6compd and v6compctl")
    parser.add_argument("--folder", type=Path, required=True, help="for logs and state; empty")
    parser.add_argument("--table", type=Path, default=here / "../../examples/tables/bgp_2401_5270.txt")
    parser.add_argument("--prefixes", type=int, default=5000)
    parser.add_argument("--rules", type=int, default=200)
    parser.add_argument("--probes", type=int, default=2000)
    parser.add_argument("--changes", type=int, default=500)
    parser.add_argument("--seed", type=int, default=18)
    parser.add_argument("--keep", action="store_true", help="leave everything running until Enter or Ctrl-C")
    options = parser.parse_args()
    network = Network(options.folder.resolve(), options.programs.resolve(), here)
    try:
        lab = Lab(options, network)
        try:
            lab.run()
        except LabError as error:
            lab.fail(str(error))
        status = lab.report()
        if options.keep:
            print(f"left running; logs in {network.folder}. v6compctl --control {network.folder}/control status. Ctrl-C ends it",
                  flush=True)
            try:
                while True:
                    time.sleep(60)
            except KeyboardInterrupt:
                pass
        return status
    finally:
        network.stop()


if __name__ == "__main__":
    sys.exit(main())
