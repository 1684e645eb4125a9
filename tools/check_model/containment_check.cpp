// SPDX-License-Identifier: Apache-2.0
// The property speaks of all pairs; there are billions of them in a large table. It is decided here from two forests:
// that of the originals and that of the codes, both ordered by containment.
//
//   originals            codes              parent(P): the longest other original that contains P
//      A                   a                code_parent(P): owner of the longest other code that contains P's code
//     / \                 / \.              match(P): owner of the longest code that covers P's address
//    B   C               b   c
//
// Let all codes differ. Then
//
//   (all)  for all P, Q: code(Q) covers address(P)  <=>  Q contains P
//
// holds exactly when
//
//   (1)  match(P) = P for every P, and
//   (2)  code_parent(P) = parent(P) for every P.
//
// (1), (2) => (all): the codes that cover one address are nested in one another, so they are the longest of them and
// its code ancestors: by (1) that is code(P), code(code_parent(P)), ..., by (2) the codes of P, parent(P),
// parent(parent(P)), ...: of all that contain P and no others.
//
// (all) => (1): P contains P, so code(P) covers address(P). Let code(Q) be the longest that does, Q other than P.
// By (all) Q contains P. Both codes cover address(P), so code(Q) lies inside code(P), and code(P) covers everything
// that code(Q) covers, address(Q) included (Q contains Q). By (all) P contains Q. So P = Q, against the choice of Q.
//
// (all) => (2): by (1) the owners of P, code_parent(P), code_parent(code_parent(P)), ... are all Q whose code covers
// address(P): by (all) those that contain P. They are the same set as P, parent(P), ...; and in the same order, for
// if code(Q) lies inside code(R), then code(R) covers address(Q), and R contains Q. So the second members agree.
//
// Each step of these arguments names the pair that breaks (all) when (1) or (2) fails for P: its members are P,
// match(P), or ancestors of P in one of the forests. The counterexample is looked for among those.
#include "containment_check.h"

#include <algorithm>
#include <vector>

#include "prefix_forest.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

std::string describe(const compressed_row &row) {
  return format_prefix(row.original) + " (" + format_code(row.code) + ", address " + format_code_address(row.address) +
         ')';
}

std::string describe_pair(const compressed_row &p, const compressed_row &q) {
  if (contains(q.original, p.original)) {
    return describe(q) + " contains " + describe(p) + ", but its compressed prefix does not cover that address";
  }
  return "the compressed prefix of " + describe(q) + " covers the address of " + describe(p) +
         ", which it does not contain";
}

void add_chain(const prefix_forest &forest, uint32_t from, std::vector<uint32_t> &members) {
  for (uint32_t at = from; at != prefix_forest::none; at = forest.parent(at)) {
    members.push_back(at);
  }
}

std::string explain(std::span<const compressed_row> rows, const prefix_forest &originals, const prefix_forest &codes,
                    uint32_t suspect) {
  std::vector<uint32_t> members;
  add_chain(codes, codes.longest_match(rows[suspect].address), members);
  add_chain(codes, suspect, members);
  add_chain(originals, suspect, members);
  for (const uint32_t p : members) {
    for (const uint32_t q : members) {
      if (!pair_is_right(rows[p], rows[q])) {
        return describe_pair(rows[p], rows[q]);
      }
    }
  }
  return "the checker contradicts itself at " + describe(rows[suspect]);
}

}  // namespace

bool pair_is_right(const compressed_row &p, const compressed_row &q) {
  return covers(q.code, p.address) == contains(q.original, p.original);
}

std::string containment_counterexample(std::span<const compressed_row> rows) {
  std::vector<ip_prefix> prefixes(rows.size());
  std::transform(rows.begin(), rows.end(), prefixes.begin(), [](const compressed_row &r) { return r.original; });
  const prefix_forest originals(prefixes);
  std::transform(rows.begin(), rows.end(), prefixes.begin(), [](const compressed_row &r) { return r.code; });
  const prefix_forest codes(prefixes);
  if (const uint32_t twice = originals.first_duplicate(); twice != prefix_forest::none) {
    return describe(rows[twice]) + " stands there twice";
  }
  if (const uint32_t twice = codes.first_duplicate(); twice != prefix_forest::none) {
    for (uint32_t i = 0; i < rows.size(); ++i) {
      if (i != twice && rows[i].code == rows[twice].code) {
        return describe(rows[twice]) + " and " + describe(rows[i]) + " have the same compressed prefix";
      }
    }
  }
  for (uint32_t p = 0; p < rows.size(); ++p) {
    if (codes.longest_match(rows[p].address) != p || codes.parent(p) != originals.parent(p)) {
      return explain(rows, originals, codes, p);
    }
  }
  return "";
}

}  // namespace v6tool
