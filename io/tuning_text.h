#pragma once

#include <string>

// How the tuning reader sees its text, for checkers that must read a tuning
// file exactly as it does.
namespace mirvo {
namespace internal {

// True if `line` carries `name` behind blanks, asterisks and slashes only, as
// on a C comment line. Tabs are not skipped.
bool LineCarries(const std::string& line, const std::string& name);

// A value token without its initialiser-list decoration: leading '{' and
// blanks, trailing blanks, '}' and ','. Tokens made only of those come out
// empty.
std::string GetValueStr(const std::string& token);

}  // namespace internal
}  // namespace mirvo
