// SPDX-License-Identifier: Apache-2.0
#include "option_table.h"

#include "table_format.h"

namespace v6tool {

namespace {

std::vector<term> table_format_terms() {
  std::vector<term> terms;
  for (const table_format *format : table_formats()) {
    terms.push_back({format->name, format->description});
  }
  return terms;
}

std::vector<term> policy_terms() {
  return {{"plain", "a batch is one request"},
          {"deletes-first", "two requests: the deletes, then the additions"},
          {"split", "one request; if it is refused, as shortest-first"},
          {"shortest-first", "the deletes, then a request per length, anchors ahead"}};
}

constexpr command_row tool = {
    .name = "",
    .purpose = "Compress IPv6 prefix tables for narrow TCAMs, look prefixes up, prove the result right",
    .sets = "general",
    .description =
        "v6comp takes a whole table of IPv6 prefixes and gives every prefix a compressed prefix and a "
        "compressed address of at most 64 bits, so that containment survives. It answers questions about "
        "the table, keeps it up to date, and plans the writes of the hardware.\n\n"
        "Data goes to standard output, talk to standard error.",
    .good = "good",
    .no = "the answer is no: not found, not right, does not fit",
    .examples =
        "v6comp compress routes.txt  every prefix with its compressed prefix and address\n"
        "ip -6 route show table all | v6comp list -  what a router's table holds\n"
        "v6comp help lookup  all about one command",
};

constexpr command_row commands[] = {
    {.name = "list",
     .purpose = "Print the prefixes of a table in any format, each once",
     .sets = "table input rows output general",
     .description = "Rows are ordered by address, then by length.\n\n"
                    "Any format may be packed with gzip, bzip2, xz or zstd. Routes of other families than IPv6 unicast "
                    "are left out, and a destination with several routes counts once. In lists, rows, CSV and JSON a "
                    "prefix that stands again adds its weight, with a warning.",
     .good = "done",
     .examples = "v6comp list -v rib.20260101.bz2  the prefixes of an MRT dump, and what was read",
     .terms_heading = "Formats of tables, for this and every other command",
     .terms = table_format_terms},
    {.name = "compress",
     .purpose = "Print the compressed prefix and address of each prefix of a table",
     .sets = "table input library rows output general",
     .description = "Rows come in the order of the table. A compressed prefix is written 0xHEX/LENGTH, a compressed "
                    "address as 64 bits.",
     .good = "done",
     .no = "the table does not fit",
     .examples = "v6comp compress --format csv -o codes.csv routes.txt  a file for other programs\n"
                 "v6comp compress --summary routes.txt  lengths before and after, pools, bits required"},
    {.name = "lookup",
     .purpose = "Look up prefixes and addresses in a compressed table",
     .sets = "table input library rows output general",
     .description = "A row holds the question, the prefix of the table that answers it, its compressed prefix, the "
                    "compressed address, and what the library has stored there: a prefix of the table, an anchor (a "
                    "longer prefix cut to /32, /48, /64 or /96) or its default ::/0.\n\n"
                    "Questions from standard input are answered line by line, as they come. A bad one is told on "
                    "standard error and gets a row all the same; the exit code is 2 in the end.",
     .good = "all found",
     .no = "some not found, or the table does not fit",
     .examples = "v6comp lookup routes.txt 2001:db8::1 2001:db8::/32  an address and a prefix\n"
                 "v6comp lookup routes.txt < questions.txt  one question a line"},
    {.name = "verify",
     .purpose = "Compress a table and prove the result right",
     .sets = "table input library output general",
     .description = "For all stored prefixes P and Q the compressed prefix of Q must cover the compressed address of P "
                    "exactly when Q contains P; all compressed prefixes must differ; the rows for the hardware must be "
                    "those of the table; and the first, the last and the two neighbouring addresses of every prefix "
                    "must find their longest match.",
     .good = "right",
     .no = "wrong (with a counterexample), or the table does not fit",
     .examples = "v6comp verify routes.txt  prove a table right"},
    {.name = "dump",
     .purpose = "Print the compressed table as the library walks it",
     .sets = "table input library rows output general",
     .description = "One row per distinct prefix, ::/0 included and anchors left out; every prefix after all that lie "
                    "inside it.",
     .good = "done",
     .no = "the table does not fit, or a row is missing",
     .examples = "v6comp dump routes.txt  the rows for the hardware"},
    {.name = "dot",
     .purpose = "Draw a small table, as text for Graphviz",
     .sets = "table input library rows output general",
     .description = "Boxes are stored prefixes with their compressed prefixes (dashed: anchors and ::/0), points are "
                    "branches, an ellipse is the compressed address of what a prefix keeps for itself. As json, ndjson "
                    "or csv: the same "
                    "nodes, each with the edge that leads to it, for other tools.",
     .good = "done",
     .no = "the table does not fit, or is too large for a picture",
     .examples = "v6comp dot routes.txt | dot -Tsvg > routes.svg  a picture"},
    {.name = "update",
     .purpose = "Apply batches of changes to a table",
     .sets = "table input live library rows output general",
     .description =
         "Lines of a history: +prefix/length [weight], -prefix/length [weight], --- after each batch.\n\n"
         "A batch is printed when it is done, before the next one is begun.\n\n"
         "changed: prefixes in the table before and after whose compressed prefix or address is another.\n\n"
         "moved: prefixes that the batch moved to other codes, to make room for what it adds.\n\n"
         "In room mode a batch is one request. A delete of more weight than a prefix has is refused, and its batch "
         "left out, whatever --on-refusal is. A batch that is refused and then taken over by a recompression counts "
         "as done.",
     .good = "all done and right",
     .no = "changes were left out, the table does not fit, or a check failed",
     .examples = "v6comp update --verify every routes.txt changes.txt  prove the table right after every batch\n"
                 "v6comp update --summary routes.txt changes.txt  figures of the whole history",
     .terms_heading = "Policies of compatible mode",
     .terms = policy_terms},
    {.name = "plan",
     .purpose = "Print the hardware writes from one table to another",
     .sets = "table input live library rows output general",
     .description =
         "Each step is one write, in the order in which a driver follows them: to a slot of the first stage, a TCAM "
         "whose first matching slot wins, or a code of the second. Given two tables, both are compressed "
         "in full, and the hardware begins with the old one, longest prefixes first. Given a history, each batch is "
         "planned on what the batch before left; the options on refusals are those of `v6comp update`.\n\n"
         "A third answer is an address that, between two writes, gets neither its old nor its new result.",
     .good = "done",
     .no = "no plan, a third answer, or a batch refused",
     .examples = "v6comp plan --simulate old.txt new.txt  the writes, watched on a model\n"
                 "v6comp plan --steps routes.txt changes.txt  every write of every batch"},
    {.name = "diff",
     .purpose = "Print the changes from one table to another, as a history",
     .sets = "table input rows output general",
     .description =
         "What is printed is a history, which `v6comp update` and `v6comp plan` read: +prefix/length [weight] for what "
         "comes, -prefix/length [weight] for what goes, --- after each batch. A prefix whose weight is another gains "
         "or "
         "loses the difference. Applied to the old table, the history makes the new one.\n\n"
         "The options of input are about both tables.",
     .good = "done, whether the tables differ or not",
     .examples =
         "v6comp diff yesterday.txt today.txt > changes.txt  what happened in between\n"
         "v6comp diff old.txt new.txt | v6comp plan --steps old.txt -  the writes that lead there, codes staying "
         "where they are"},
    {.name = "report",
     .purpose = "Make a web page about a table and its history",
     .sets = "table input general",
     .description = "The page is one file and fetches nothing: lengths before and after, the space of codes, headroom "
                    "by depth, pools, the batches of the history, and all rows to search in. It shows the table as it "
                    "is after the history. A batch that is refused is left out, and shown as such.",
     .good = "done",
     .no = "the table does not fit, or a batch was refused",
     .examples = "v6comp report -o report.html routes.txt changes.txt  a page to look at"},
    {.name = "fit",
     .purpose = "Say whether a table fits, and for how long",
     .sets = "table input output general",
     .description =
         "The first line is the answer. Below it: bits that the tightest code needs, elements and memory of each pool, "
         "and by depth (prefixes around a prefix) the bits that are left behind codes when their inside is packed "
         "tightly.\n\n"
         "With a history the answer is about the table after it, and says after how many more changes like those 64 "
         "bits or a pool are used up, by a straight line through the history.\n\n"
         "Pools count when --pool-elements says how large they are; by itself the library makes them as large as "
         "needed.",
     .good = "fits, perhaps with a warning",
     .no = "does not fit, or is fuller than --fail allows",
     .examples = "v6comp fit routes.txt changes.txt  now and later\n"
                 "v6comp fit --format json --pool-elements default routes.txt  for a monitor, with the library's own "
                 "pools"},
    {.name = "explain",
     .purpose = "Say why a code is what it is, or what a batch moved and why",
     .sets = "table input rows output general",
     .description =
         "A code begins with that of the stored prefix next around; the bits behind it are its own. For PREFIX and all "
         "that is stored around it, anchors and ::/0 included: own bits and the fewest that would do, bits that "
         "everything inside needs, the most that the code may have for that, and the key, which is the place (the "
         "dummy) for addresses of the prefix itself.\n\n"
         "With --update the history is followed up to batch N, and every prefix is shown that this batch moved, and "
         "for "
         "which other one.",
     .good = "done",
     .no = "the prefix is not in the table, the table does not fit, or the batch was refused",
     .examples = "v6comp explain routes.txt 2001:db8:1::/48  one code, and those around it\n"
                 "v6comp explain routes.txt --update changes.txt 12  what batch 12 moved"},
    {.name = "generate",
     .purpose = "Make up a table to order",
     .sets = "rows output general",
     .description =
         "The same options make the same table on every machine. Shares are met to the prefix: nested ones lie inside "
         "another prefix of the table, clustered ones have the block before them, of the same length, in the table.",
     .good = "done",
     .no = "no such table can be made",
     .examples = "v6comp generate --n 10000 --mix 32:20,48:50,64:30 --nested 0.4 --seed 7  a table for tests"},
    {.name = "churn",
     .purpose = "Make up a history of changes for a table",
     .sets = "table input rows output general",
     .description =
         "The same options and the same table make the same history on every machine. A batch touches no prefix twice; "
         "deletes take any prefix that is there, additions are such as the options say: where they say nothing, they "
         "are "
         "like the table.",
     .good = "done",
     .no = "no such history can be made",
     .examples = "v6comp churn --batches 100 --size 20 routes.txt > changes.txt  for `v6comp update` and `v6comp fit`"},
    {.name = "acl",
     .purpose = "Turn access rules on source and destination prefixes into narrow ternary entries",
     .sets = "rows output general",
     .description =
         "Source prefixes become one table of the library, destination prefixes another. Each address of a packet is "
         "looked up in its table, and the two keys of 64 bits that come out stand where the two addresses of 128 bits "
         "would: a rule's entry matches the codes of its prefixes in them.\n\n"
         "RULES is what `nft -j list ruleset` or ip6tables-save print, or CSV whose first line names the fields "
         "source, destination and verdict, and perhaps protocol, source_ports, destination_ports, icmp_type, priority "
         "and name. Of nft and ip6tables the chain of forwarded packets is taken, with all that it jumps to. A rule "
         "that no entry can say (state of connections, interfaces, negations, rates) is a fault.\n\n"
         "Flows are lines for `ovs-ofctl -O OpenFlow15 add-flows`: tables 0 and 1 map source and destination to xreg0 "
         "and xreg1, table 2 holds the entries. A rejected packet is dropped there.",
     .good = "done, or right",
     .no = "wrong (with a counterexample), the prefixes do not fit, or more rules than flows have priorities",
     .examples = "nft -j list ruleset | v6comp acl --verify -  prove that every verdict stays the same\n"
                 "v6comp acl --summary rules.csv  bits and entries before and after\n"
                 "v6comp acl --what flows rules.csv > flows.txt  for a software switch"},
    {.name = "help",
     .purpose = "Print the help of a command",
     .sets = "general",
     .description = "Without a command: which commands there are.",
     .good = "done",
     .examples = "v6comp help update  the same as v6comp update --help"},
};

}  // namespace

std::span<const command_row> command_rows() { return commands; }
const command_row &tool_row() { return tool; }

}  // namespace v6tool
