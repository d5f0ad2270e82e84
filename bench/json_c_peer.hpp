// json-c's side of the JSON benchmarks, in a unit of its own: its headers and jansson's declare the
// same names.
#ifndef COMMONUTILITIES_BENCH_JSON_C_PEER_HPP
#define COMMONUTILITIES_BENCH_JSON_C_PEER_HPP

#include <cstdint>
#include <string>
#include <vector>

namespace cu_bench {

uint64_t LoadConfigWithJsonC(const char *path);
/// The sum of the tree's leaves when it is wanted; else 0.
uint64_t BuildTreeWithJsonC(const std::string &text, bool sum_wanted);
void *ParseWithJsonC(const std::string &text);
uint64_t FindPathsWithJsonC(void *root, const std::vector<std::string> &pointers);

}  // namespace cu_bench

#endif
