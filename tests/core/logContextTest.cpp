#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "core/logger.h"

namespace {

using Tag = std::pair<std::string, std::string>;

TEST(LogContextTest, ReadsTheScopesOutOfEveryCompilersSignature) {
  struct Case {
    const char *function, *signature, *scopes;
  };
  const Case cases[] = {
      // MSVC
      {"OmbrixSDK::OmbrixSDK",
       "__cdecl OmbrixSDK::OmbrixSDK(const enum OmbrixSDK::verbosityLevel &,const int &)", ""},
      {"OmbrixSDK", "__cdecl OmbrixSDK::OmbrixSDK(const enum OmbrixSDK::verbosityLevel &,const int &)",
       "OmbrixSDK"},
      {"~Core", "__cdecl Core::~Core(void)", "Core"},
      {"colorize", "bool __cdecl colorize(class imageAcquisition *,unsigned short,unsigned short)", ""},
      {"load", "bool __cdecl `anonymous-namespace'::load(void)", ""},
      {"load", "int __cdecl kernels::load<int,class std::vector<int,class std::allocator<int>>>(int)",
       "kernels"},
      {"load", "kernels::`anonymous-namespace'::Reader::load(void)", "kernels::Reader"},
      {"operator ()", "auto __cdecl Core::init::<lambda_1>::operator ()(int) const", "Core::init"},
      // GCC
      {"Core", "Core::Core()", "Core"},
      {"load", "std::string {anonymous}::load(const std::__cxx11::basic_string<char>&)", ""},
      {"at", "T Table<T, N>::at(int) const [with T = float; int N = 3]", "Table<T, N>"},
      {"load", "bool kernels::{anonymous}::Reader::load()", "kernels::Reader"},
      {"at", "int ns::Table<std::vector<std::__cxx11::list<int>>>::at(int)",
       "ns::Table<vector<list<int> > >"},
      {"run", "std::pair<f(int), run(int)> kernels::run(std::function<int(run)>)", "kernels"},
      {"run", "void rerun::run()", "rerun"},
      {"run", "xrun(int)::run()", "xrun"},
      {"operator()", "kernels::Engine::start(int) const::<lambda(int)>", "kernels::Engine::start"},
      {"operator()", "start(T) [with T = int]::<lambda()>", "start"},
      {"operator==", "bool Table::operator==(const Table&) const", "Table"},
      // clang
      {"load", "bool (anonymous namespace)::load(const std::string &)", ""},
      {"load", "bool kernels::(anonymous namespace)::Reader::load()", "kernels::Reader"},
      {"operator()", "auto Core::init(int)::(anonymous class)::operator()(int) const", "Core::init"},
      // nothing to go by
      {"load", "", ""},
      {"", "", ""},
      {"load", "load(((<<", ""},
      {"load", ")>::load(", ""},
      {"load", ") [load()] {load()} ns::load()", "ns"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(logger::tag({c.function, c.signature}), Tag(c.scopes, c.function)) << c.signature;
  for (const char part : {'a', 'z', 'A', 'Z', '0', '9', '_', '~', '$'}) {
    const std::string scope = std::string("x") + part + "run", signature = "void " + scope + "(int)::run()";
    EXPECT_EQ(logger::tag({"run", signature.c_str()}), Tag(scope, "run")) << signature;
  }
}

struct Probe {
  Tag constructed;
  Tag* destroyed = nullptr;
  Probe() { constructed = logger::tag(LOG_HERE); }
  ~Probe() {
    if (destroyed) *destroyed = logger::tag(LOG_HERE);
  }
  template <typename T>
  static Tag generic(T) {
    return logger::tag(LOG_HERE);
  }
  Tag fromLambda() const {
    return [](int) { return logger::tag(LOG_HERE); }(1);
  }
};

TEST(LogContextTest, WorksOnThisCompiler) {
  Tag destroyed;
  {
    Probe probe;
    probe.destroyed = &destroyed;
    EXPECT_EQ(probe.constructed, Tag("Probe", "Probe"));
    EXPECT_EQ(probe.fromLambda(), Tag("Probe::fromLambda", "operator()"));
  }
  EXPECT_EQ(destroyed, Tag("Probe", "~Probe"));
  EXPECT_EQ(Probe::generic(std::pair<int, std::string>()), Tag("Probe", "generic"));
}

}  // namespace
