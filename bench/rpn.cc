// Evaluating rules: from the text each time, and with kept tokens.
#include <lua.hpp>
#include <muParser.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "bench/frame.hpp"
#include "include/rpn.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

struct Rule {
  const char *name;
  const char *rpn;    // for doRPN
  const char *infix;  // for muParser, over a and b
  const char *lua;    // for Lua, over a and b
  bool conditional;   // doRPNExtended has no conditional
};

// A lone ">" would be read as a shift.
constexpr Rule kRules[] = {
    {"a conditional", "%1 5 >= ? 1 : 0", "a >= 5 ? 1 : 0", "return a >= 5 and 1 or 0", true},
    {"9 tokens", "%1 9 * 5 / 32 + %2 -", "a * 9 / 5 + 32 - b", "return a * 9 / 5 + 32 - b", false},
    {"21 tokens", "%1 2.5 * %2 + 3 / 10 + %1 %2 * 100 / - 4 max 2 * 0.125 +",
     "max((a * 2.5 + b) / 3 + 10 - a * b / 100, 4) * 2 + 0.125",
     "return math.max((a * 2.5 + b) / 3 + 10 - a * b / 100, 4) * 2 + 0.125", false}};

double g_parameters[2] = {42, 17};

int GetParameter(uint32_t index, void *, double *out) {
  if (index >= 2) return 0;
  *out = g_parameters[index];
  return 1;
}

uint32_t GetParameterCount(void *) {
  return 2;
}

/// The library computes in single precision; four digits are the same everywhere.
uint64_t Rounded(double value) {
  return static_cast<uint64_t>(std::llround(value * 100));
}

void Add(cu_bench::Family &family, const Rule &rule) {
  auto &text = family.AddWorkload(std::string(rule.name) + ", from the text");
  text.Add(Role::kLibrary, "doRPN", [&rule]() -> uint64_t {
    static char first[] = "42", second[] = "17";
    char *parameters[] = {first, second};
    double result = 0;
    doRPN(rule.rpn, parameters, 2, &result);
    return Rounded(result);
  });
  auto parser = std::make_shared<mu::Parser>();
  parser->DefineVar("a", &g_parameters[0]);
  parser->DefineVar("b", &g_parameters[1]);
  text.Add(Role::kPeer, "muParser SetExpr + Eval", [&rule, parser]() -> uint64_t {
    parser->SetExpr(rule.infix);
    return Rounded(parser->Eval());
  });
  lua_State *const lua = luaL_newstate();
  luaL_openlibs(lua);
  lua_pushnumber(lua, g_parameters[0]);
  lua_setglobal(lua, "a");
  lua_pushnumber(lua, g_parameters[1]);
  lua_setglobal(lua, "b");
  text.Add(Role::kPeer, "Lua load + call", [&rule, lua]() -> uint64_t {
    luaL_loadstring(lua, rule.lua);
    lua_call(lua, 0, 1);
    const double result = lua_tonumber(lua, -1);
    lua_pop(lua, 1);
    return Rounded(result);
  });
  text.Add(
      Role::kFloor, "one pass over the text",
      [&rule]() -> uint64_t {
        uint64_t blanks = 0;
        for (const char *c = rule.rpn; *c != '\0'; ++c) {
          cu_bench::Keep(*c);
          blanks += *c == ' ';
        }
        return blanks;
      },
      Check::kNone);
  if (rule.conditional) return;

  auto &kept = family.AddWorkload(std::string(rule.name) + ", compiled once");
  auto context = std::make_shared<RpnExtendedContext>();
  *context = {};
  context->expression = rule.rpn;
  context->getParameter = GetParameter;
  context->getParameterCount = GetParameterCount;
  context->keepTokens = 1;
  kept.Add(Role::kLibrary, "doRPNExtended", [context]() -> uint64_t {
    double result = 0;
    doRPNExtended(context.get(), &result);
    return Rounded(result);
  });
  auto compiled = std::make_shared<mu::Parser>();
  compiled->DefineVar("a", &g_parameters[0]);
  compiled->DefineVar("b", &g_parameters[1]);
  compiled->SetExpr(rule.infix);
  kept.Add(Role::kPeer, "muParser Eval",
           [compiled]() -> uint64_t { return Rounded(compiled->Eval()); });
  luaL_loadstring(lua, rule.lua);
  const int reference = luaL_ref(lua, LUA_REGISTRYINDEX);
  kept.Add(Role::kPeer, "Lua call", [lua, reference]() -> uint64_t {
    lua_rawgeti(lua, LUA_REGISTRYINDEX, reference);
    lua_call(lua, 0, 1);
    const double result = lua_tonumber(lua, -1);
    lua_pop(lua, 1);
    return Rounded(result);
  });
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("rpn", cu_bench::Clock::kCpu);
  for (const Rule &rule : kRules) Add(family, rule);
  return family.Main(argc, argv);
}
