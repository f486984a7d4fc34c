#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/logger.h"

// The signature texts of GCC, clang and MSVC differ in almost everything but the function's qualified name:
//   bool Ns::Class<T>::name(int) const [with T = int]      int Ns::name()::<lambda(int)>
//   auto Ns::name()::(anonymous class)::operator()(int) const      void __cdecl
//   `anonymous-namespace'::name(void)
// So the name is looked for, and the chain of scopes is read backwards from it.

namespace {

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '~' ||
         c == '$';
}

/// Replaces until none is left: ">>>" holds ">>" twice.
void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from))
    text.replace(at, from.size(), to);
}

/// Position behind the bracket that closes the one at `open`; the text's end when none does.
std::size_t skipBrackets(std::string_view text, std::size_t open, char opening, char closing) {
  int depth = 0;
  for (std::size_t i = open; i < text.size(); ++i) {
    if (text[i] == opening) ++depth;
    if (text[i] == closing && --depth == 0) return i + 1;
  }
  return text.size();
}

/// True when the `name` at `at` is a whole word followed by a parameter list, template arguments between
/// allowed.
bool isFunctionAt(std::string_view text, std::size_t at, std::string_view name) {
  if (at > 0 && isNameCharacter(text[at - 1])) return false;
  std::size_t next = at + name.size();
  if (next < text.size() && text[next] == '<') next = skipBrackets(text, next, '<', '>');
  return next < text.size() && text[next] == '(';
}

/// Where the function's own name starts. The first occurrence outside of brackets, since return types and
/// parameters may contain the same word.
std::size_t findName(std::string_view signature, std::string_view name) {
  int depth = 0;
  for (std::size_t i = 0; i < signature.size(); ++i) {
    if (depth == 0 && signature.substr(i).starts_with(name) && isFunctionAt(signature, i, name)) return i;
    const char c = signature[i];
    if (c == '(' || c == '<' || c == '[' || c == '{') ++depth;
    if (c == ')' || c == '>' || c == ']' || c == '}') depth = std::max(0, depth - 1);
  }
  return std::string_view::npos;
}

/// Removes the bracketed group that `text` ends with.
void dropLastGroup(std::string_view& text, char opening, char closing) {
  int depth = 0;
  while (!text.empty()) {
    const char c = text.back();
    text.remove_suffix(1);
    if (c == closing) ++depth;
    if (c == opening && --depth <= 0) return;
  }
}

/// Takes one scope, "Name" or "Name<...>", from the end of `text`; empty for an unnamed one. A function's
/// parameter list and qualifiers are dropped.
std::string_view takeScope(std::string_view& text) {
  if (text.ends_with(']')) dropLastGroup(text, '[', ']');
  while (text.ends_with(' ')) text.remove_suffix(1);
  while (text.ends_with(" const") || text.ends_with(" noexcept"))
    text.remove_suffix(text.size() - text.rfind(' '));
  if (text.ends_with('}')) {
    dropLastGroup(text, '{', '}');
    return {};
  }
  if (text.ends_with('\'')) {
    text = text.substr(0, std::min(text.rfind('`'), text.size()));
    return {};
  }
  if (text.ends_with(')')) dropLastGroup(text, '(', ')');
  const std::string_view whole = text;
  if (text.ends_with('>')) dropLastGroup(text, '<', '>');
  const std::size_t argumentsAt = text.size();
  while (!text.empty() && isNameCharacter(text.back())) text.remove_suffix(1);
  return text.size() == argumentsAt ? std::string_view() : whole.substr(text.size());
}

/// The chain "A::B" that `text` ends with, "::" included.
std::string scopesBefore(std::string_view text) {
  std::string chain;
  while (text.ends_with("::")) {
    text.remove_suffix(2);
    const std::string_view scope = takeScope(text);
    if (scope.empty()) continue;
    chain = chain.empty() ? std::string(scope) : std::string(scope) + "::" + chain;
  }
  return chain;
}

}  // namespace

std::pair<std::string, std::string> logger::tag(const LogContext& context) {
  const std::string_view name = context.function;
  if (name.find("::") != std::string_view::npos) return {"", std::string(name)};

  std::string signature = context.signature;
  replaceAll(signature, "std::", "");
  replaceAll(signature, "__cxx11::", "");
  const std::string_view text = signature;
  std::size_t at = std::string_view::npos;
  if (name.starts_with("operator")) {
    // A lambda: GCC writes "enclosing()::<lambda(int)>" and leaves the operator out.
    at = std::min(text.find("<lambda"), text.find(name));
  } else {
    at = findName(text, name);
  }
  std::string scopes = at == std::string_view::npos ? std::string() : scopesBefore(text.substr(0, at));
  replaceAll(scopes, ">>", "> >");
  return {scopes, std::string(name)};
}
