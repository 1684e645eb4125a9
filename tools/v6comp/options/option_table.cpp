// SPDX-License-Identifier: Apache-2.0
#include "option_table.h"

#include "table_format.h"

namespace v6tool {

namespace {

using enum value_kind;

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
     .sets = "table input live library output general",
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
     .sets = "table input general",
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

constexpr option_set sets[] = {
    {"table", "Table"}, {"input", "Input"},   {"live", "Batches"},    {"library", "Library"},
    {"rows", "Rows"},   {"output", "Output"}, {"general", "General"},
};

constexpr option_row options[] = {
    // ---- arguments, in their order on the command line
    {.of = "@table", .names = "TABLE", .kind = file, .help = "table of prefixes or routes, - for standard input"},
    {.of = "lookup",
     .names = "QUERY...",
     .kind = text,
     .help = "prefixes and addresses; if none are given, one a line of standard input"},
    {.of = "update", .names = "HISTORY", .kind = file, .help = "file of batches of changes, - for standard input"},
    {.of = "plan",
     .names = "NEW",
     .kind = file,
     .help = "the new table, or a history of the first one; - for standard input"},
    {.of = "diff", .names = "NEW", .kind = file, .help = "the new table, - for standard input"},
    {.of = "report",
     .names = "[HISTORY]",
     .kind = file,
     .help = "file of batches of changes that are applied first, - for standard input"},
    {.of = "fit", .names = "[HISTORY]", .kind = file, .help = "file of batches of changes, - for standard input"},
    {.of = "acl", .names = "RULES", .kind = file, .help = "access rules, - for standard input"},
    {.of = "help", .names = "[COMMAND]", .kind = text, .help = "a command"},

    // ---- of single commands
    {.of = "compress", .names = "-s,--summary", .help = "print figures of the whole table instead"},
    {.of = "verify",
     .names = "--random-probes",
     .value = "N",
     .kind = number,
     .most = UINT32_MAX,
     .standard = "10000",
     .help = "random addresses inside stored prefixes to look up"},
    {.of = "verify acl generate churn",
     .names = "--seed",
     .value = "N",
     .kind = number,
     .standard = "1",
     .help = "of all that is random"},
    {.of = "dot",
     .names = "-w,--what",
     .kind = choice,
     .choices = "original|ancestor|compressed",
     .standard = "ancestor",
     .help = "original trie, ancestor (containment) tree, or compressed trie"},
    {.of = "update",
     .names = "--verify",
     .kind = choice,
     .choices = "every|end|off",
     .standard = "end",
     .help = "when to prove the table right: after every batch, at the end, or never"},
    {.of = "update", .names = "-s,--summary", .help = "print figures of the whole history instead"},
    {.of = "update", .names = "--headroom", .help = "print what ran out at each refusal instead, and where"},
    {.of = "diff",
     .names = "--batch-size",
     .value = "N",
     .kind = number,
     .least = 1,
     .most = UINT32_MAX,
     .help = "most changes of a batch; if not given, all of them are one"},
    {.of = "plan",
     .names = "--slots",
     .value = "N",
     .kind = number,
     .least = 1,
     .most = uint64_t{1} << 24,
     .help = "slots of the hardware; if not given, as many as any plan can use"},
    {.of = "plan",
     .names = "--simulate",
     .help = "drive the plan through a model of both stages and look at it after every write"},
    {.of = "plan",
     .names = "--steps",
     .help = "with a history: print every write of every batch, of both stages, in the order to follow"},

    {.of = "generate",
     .names = "-n,--n",
     .value = "N",
     .kind = number,
     .most = 1000000,
     .standard = "1000",
     .help = "prefixes"},
    {.of = "churn",
     .names = "--batches",
     .value = "N",
     .kind = number,
     .most = 1000000,
     .standard = "100",
     .help = "batches of the history"},
    {.of = "churn",
     .names = "--size",
     .value = "N",
     .kind = number,
     .most = 1000000,
     .standard = "20",
     .help = "changes of a batch"},
    {.of = "churn",
     .names = "--additions",
     .value = "SHARE",
     .kind = text,
     .standard = "0.5",
     .help = "share of the changes that add, 0 to 1; the others delete"},
    {.of = "generate churn",
     .names = "--mix",
     .value = "MIX",
     .kind = text,
     .help = "lengths and their parts, length:part with commas between; if not given, 32:20,48:50,64:30 for a table, "
             "and as in the table for a history"},
    {.of = "generate churn",
     .names = "--nested",
     .value = "SHARE",
     .kind = text,
     .help = "share of the prefixes that lie inside another, 0 to 1; if not given, none for a table, and as in the "
             "table for a history"},
    {.of = "generate churn",
     .names = "--clustered",
     .value = "SHARE",
     .kind = text,
     .help = "share of the prefixes that stand behind one of the same length, 0 to 1; if not given, as with --nested"},
    {.of = "generate churn",
     .names = "--within",
     .value = "PREFIX",
     .kind = text,
     .standard = "2000::/3",
     .help = "new prefixes lie inside this one"},
    {.of = "fit",
     .names = "--warn",
     .value = "PERCENT",
     .kind = number,
     .most = 100,
     .standard = "70",
     .help = "warn when so much of 64 bits or of a pool is in use"},
    {.of = "fit",
     .names = "--fail",
     .value = "PERCENT",
     .kind = number,
     .most = 100,
     .standard = "90",
     .help = "answer no when so much is in use"},
    {.of = "acl",
     .names = "-w,--what",
     .kind = choice,
     .choices = "entries|sources|destinations|flows",
     .standard = "entries",
     .help = "print the entries, the codes and keys of the source or the destination prefixes, or flows"},
    {.of = "acl", .names = "-s,--summary", .help = "print bits and entries before and after instead"},
    {.of = "acl", .names = "--verify", .help = "prove that every verdict is that of the rules, and say so instead"},
    {.of = "acl",
     .names = "--chain",
     .value = "NAME",
     .kind = text,
     .help = "chain to take from nft or ip6tables; in nft also TABLE/NAME"},
    {.of = "acl",
     .names = "--accept",
     .value = "ACTIONS",
     .kind = text,
     .standard = "NORMAL",
     .help = "what flows do with accepted packets"},
    {.of = "acl",
     .names = "--corner-probes",
     .value = "N",
     .kind = number,
     .standard = "200000",
     .help = "most packets at corners of rules to try; of more, every n-th is tried"},
    {.of = "acl",
     .names = "--random-probes",
     .value = "N",
     .kind = number,
     .standard = "10000",
     .help = "packets of random edges to try"},
    {.of = "acl",
     .names = "--input",
     .value = "FORMAT",
     .kind = choice,
     .choices = "auto|nft|ip6tables|csv",
     .standard = "auto",
     .help = "format of the rules; auto sees it in the first bytes"},

    // ---- input
    {.of = "@input",
     .names = "--input",
     .value = "FORMAT",
     .kind = choice,
     .choices = "auto|mrt|json|ip-json|frr-json|proc|bgpdump|csv|frr|bird|ip-route|rows|list",
     .standard = "auto",
     .help = "format of the table, see `v6comp help list`; auto sees it in the first bytes"},
    {.of = "@input acl",
     .names = "--mask",
     .help = "clear bits set beyond a prefix's length, which are a fault otherwise"},
    {.of = "@input acl",
     .names = "--skip-bad",
     .value = "N",
     .kind = number,
     .standard = "0",
     .help = "bad lines that are left out and counted"},
    {.of = "@input", .names = "-v,--verbose", .help = "say which format the table was in, and how much of it was read"},
    {.of = "acl", .names = "-v,--verbose", .help = "say which format the rules were in, and how many there are"},

    // ---- batches
    {.of = "@live",
     .names = "--on-refusal",
     .kind = choice,
     .choices = "recompress|stop|skip",
     .standard = "recompress",
     .help = "when a batch is refused: compress the whole table anew where that helps, stop, or leave the batch out"},
    {.of = "@live",
     .names = "--move-limit",
     .value = "N",
     .kind = number,
     .most = UINT32_MAX,
     .help = "most stored prefixes that a batch may move in room mode; if not given, any number"},
    {.of = "@live",
     .names = "--policy",
     .kind = choice,
     .choices = "plain|deletes-first|split|shortest-first",
     .help = "with --room off: in which requests a batch is sent, see below; if not given, shortest-first"},
    {.of = "@live",
     .names = "--safe-updates",
     .kind = choice,
     .choices = "on|off",
     .standard = "on",
     .help = "with --room off: refuse batches that would leave a table wrong"},

    // ---- library
    {.of = "@library fit",
     .names = "--pool-elements",
     .value = "N",
     .kind = number,
     .choices = "auto|default",
     .least = 1,
     .most = UINT32_MAX,
     .standard = "auto",
     .help = "elements of each pool: auto (enough for this table), default (the library's own), or a count"},
    {.of = "@library",
     .names = "--processor",
     .value = "N",
     .kind = number,
     .most = 3,
     .standard = "0",
     .help = "packet processor"},
    {.of = "@library",
     .names = "--instance",
     .value = "N",
     .kind = number,
     .most = 1,
     .standard = "0",
     .help = "table instance of the processor"},
    {.of = "@library",
     .names = "--room",
     .kind = choice,
     .choices = "on|off",
     .standard = "on",
     .help = "room mode: no table and no batch is refused that 64 bits suffice for, tables may be larger than a "
             "request; off is compatible mode"},
    {.of = "@library",
     .names = "--debug-level",
     .value = "N",
     .kind = number,
     .most = UINT32_MAX,
     .help = "messages of the library on standard error: 0 none, 3 errors, 7 everything; if not given, none but those "
             "that the ZEL_V6COMP_DBG_* variables turn on"},

    // ---- output
    {.of = "@output",
     .names = "-f,--format",
     .kind = choice,
     .choices = "text|json|ndjson|csv",
     .standard = "text",
     .help = "how rows are written"},
    {.of = "@output report churn",
     .names = "-o,--output",
     .value = "FILE",
     .kind = file,
     .help = "write to FILE, - for standard output; it appears when all of it is written"},

    // ---- rows
    {.of = "@rows",
     .names = "--fields",
     .value = "NAMES",
     .kind = fields,
     .help =
         "which fields are printed, and in which order: names with commas between; if not given, all, in text those "
         "that people ask for"},
    {.of = "@rows",
     .names = "--sort",
     .value = "NAMES",
     .kind = fields,
     .help = "order rows by these fields, the first one first; NAME:down begins with the largest"},

    // ---- everywhere
    {.of = "@general", .names = "-q,--quiet", .help = "no warnings, no progress"},
    {.of = "@general", .names = "-h,--help", .help = "print this help"},
    {.of = "@general", .names = "-V,--version", .help = "print the version"},
};

}  // namespace

std::span<const command_row> command_rows() { return commands; }
std::span<const option_set> option_sets() { return sets; }
std::span<const option_row> option_rows() { return options; }
const command_row &tool_row() { return tool; }

}  // namespace v6tool
