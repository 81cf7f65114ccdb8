// Answers as bytes: how the right ones are made, how they are spoiled, and what stands in those that others made.
#ifndef NUVEK_DESK_ANSWER_BYTES_H
#define NUVEK_DESK_ANSWER_BYTES_H

#include <optional>
#include <string>
#include <vector>

#include "fault.h"

namespace desk {

std::string accepted(const std::string& body);
std::string refused(const std::vector<std::string>& findings);

// What leaves in place of the right bytes.
std::string spoiled(Fault fault, std::string bytes);

// The messages of an answer, as far as they can be read.
struct Contents {
  struct Get {
    int id;
    std::string path;
  };
  std::vector<Get> gets;
  std::optional<int> code;
  std::string reg_id;
};
Contents contents_of(const std::string& bytes);

}  // namespace desk

#endif
