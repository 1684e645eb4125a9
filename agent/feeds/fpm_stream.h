// SPDX-License-Identifier: Apache-2.0
// fpm_stream.h - frames of the forwarding plane manager's protocol: 4 bytes of header, then netlink messages.
//
//   byte 0      version, 1
//   byte 1      kind, 1 = netlink
//   bytes 2, 3  length of the frame, header included, most significant byte first
//
// A frame of another version or length cannot be stepped over with any certainty: the stream is broken then, and the
// connection has to begin anew. Bad messages in a good frame are counted and left out.
#ifndef FPM_STREAM_H
#define FPM_STREAM_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "route_message.h"

namespace v6agent {

class fpm_stream {
 public:
  fpm_stream(const message_rules &rules, route_sink &sink) : rules_(rules), sink_(sink) {}

  // The next bytes of the connection, in pieces of any size. False: the stream is broken, and so is every later piece.
  bool take(std::span<const uint8_t> bytes);

  uint64_t frames() const { return frames_; }
  const std::string &fault() const { return fault_; }

 private:
  bool take_frame(const uint8_t *frame, size_t bytes);

  const message_rules &rules_;
  route_sink &sink_;
  std::vector<uint8_t> rest_;  // the beginning of a frame
  std::vector<uint64_t> aligned_;
  uint64_t frames_ = 0;
  std::string fault_;
};

}  // namespace v6agent

#endif
