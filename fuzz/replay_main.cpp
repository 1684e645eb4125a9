// SPDX-License-Identifier: Apache-2.0
// replay_main.cpp - run a fuzz target without a fuzz engine.
//   replay_X [--mutations N] PATH...   every file, every file of every folder, and N small changes of them
//   replay_X < FILE                    one input from standard input (AFL++)
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz_target.h"

extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

using input = std::vector<uint8_t>;

input read_all(std::istream &stream) {
  const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  return input(text.begin(), text.end());
}

void run(const input &bytes) { LLVMFuzzerTestOneInput(bytes.data(), bytes.size()); }

// One of the plain mutations: bytes changed, cut out, repeated, taken from another input. The same in every run.
input mutated(const std::vector<input> &seeds, std::mt19937_64 &random) {
  input bytes = seeds[random() % seeds.size()];
  for (uint64_t left = 1 + random() % 8; left > 0; --left) {
    const size_t at = bytes.empty() ? 0 : random() % bytes.size();
    const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const size_t length = std::min<size_t>(1 + random() % 32, bytes.size() - at);
    const auto end = place + static_cast<std::ptrdiff_t>(length);
    switch (random() % 4) {
      case 0:
        if (!bytes.empty()) {
          *place = static_cast<uint8_t>(random());
        }
        break;
      case 1:
        bytes.erase(place, end);
        break;
      case 2: {
        const input copy(place, end);
        bytes.insert(place, copy.begin(), copy.end());
        break;
      }
      default: {
        const input &other = seeds[random() % seeds.size()];
        const size_t from = other.empty() ? 0 : random() % other.size();
        const size_t n = std::min<size_t>(32, other.size() - from);
        bytes.insert(place, other.begin() + static_cast<std::ptrdiff_t>(from),
                     other.begin() + static_cast<std::ptrdiff_t>(from + n));
      }
    }
  }
  return bytes;
}

void add_seeds(const std::filesystem::path &path, std::vector<input> &seeds) {
  std::vector<std::filesystem::path> files{path};
  if (std::filesystem::is_directory(path)) {
    files.clear();
    for (const auto &entry : std::filesystem::directory_iterator(path)) {
      files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
  }
  for (const auto &file : files) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      std::cerr << file << ": cannot be read\n";
      std::exit(2);
    }
    seeds.push_back(read_all(stream));
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (LLVMFuzzerInitialize != nullptr) {
    LLVMFuzzerInitialize(&argc, &argv);
  }
  if (argc < 2) {
    run(read_all(std::cin));
    return 0;
  }
  unsigned long mutations = 0;
  std::vector<input> seeds;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--mutations") == 0 && i + 1 < argc) {
      mutations = std::stoul(argv[++i]);
    } else {
      add_seeds(argv[i], seeds);
    }
  }
  if (seeds.empty()) {
    std::cerr << "no input\n";
    return 2;
  }
  for (const input &seed : seeds) {
    run(seed);
  }
  std::mt19937_64 random(1);
  for (unsigned long i = 0; i < mutations; ++i) {
    run(mutated(seeds, random));
  }
  std::cout << seeds.size() << " inputs, " << mutations << " mutations\n";
  return 0;
}
