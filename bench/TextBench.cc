/// Text and wire forms of values. An iteration is one value, printed into or parsed from a buffer
/// that is used again.
#include <benchmark/benchmark.h>

#include <string>

#include "ldp/LdpIdentifier.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/RouterId.h"
#include "mpls/types/Via.h"

namespace {

Mpls::Via via() {
  Mpls::Via v(Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 100016, false);
  v.intfIs(Netbase::IntfId("Ethernet7"));
  return v;
}
Ldp::LdpIdentifier ldpIdentifier() { return Ldp::LdpIdentifier(0x0a010203, 17); }
Mpls::RouterId routerId() { return Mpls::RouterId(Mpls::isis_, {1, 2, 3, 4, 5, 6}); }
Mpls::FwdEqvClass fwdEqvClass() {
  return Mpls::FwdEqvClass(Netbase::IpGenPrefix("10.11.128.0/17"));
}

/// The two directions of a form.
struct Text {
  template <class T>
  static void out(std::string& to, const T& v) {
    Forma::print(to, v);
  }
  template <class T>
  static void in(const std::string& from, T& v) {
    Forma::TextIn text(from);
    Forma::parse(text, v);
  }
};
struct Wire {
  template <class T>
  static void out(std::string& to, const T& v) {
    Forma::encode(to, v);
  }
  template <class T>
  static void in(const std::string& from, T& v) {
    Forma::BytesIn bytes(from);
    Forma::decode(bytes, v);
  }
};

template <class Form, auto make>
void out(benchmark::State& state) {
  auto v = make();
  std::string buffer;
  for (auto _ : state) {
    benchmark::DoNotOptimize(v);
    buffer.clear();
    Form::out(buffer, v);
    benchmark::DoNotOptimize(buffer.data());
  }
}

template <class Form, auto make>
void in(benchmark::State& state) {
  std::string buffer;
  Form::out(buffer, make());
  auto v = make();
  for (auto _ : state) {
    benchmark::DoNotOptimize(buffer.data());
    Form::in(buffer, v);
    benchmark::DoNotOptimize(v);
  }
}

template <class Form, auto make>
void roundTrip(benchmark::State& state) {
  auto v = make();
  std::string buffer;
  for (auto _ : state) {
    buffer.clear();
    Form::out(buffer, v);
    Form::in(buffer, v);
    benchmark::DoNotOptimize(v);
  }
  if (v != make()) state.SkipWithError("the value did not survive");
}

template <auto make>
void addFor(const std::string& type) {
  const auto add = [&](const char* op, void (*measure)(benchmark::State&)) {
    benchmark::RegisterBenchmark(("Text/" + (op + type) + "/Mpls/1").c_str(), measure);
  };
  add("print", out<Text, make>);
  add("parse", in<Text, make>);
  add("printParse", roundTrip<Text, make>);
  add("encode", out<Wire, make>);
  add("decode", in<Wire, make>);
}

const bool added = [] {
  addFor<via>("Via");
  addFor<ldpIdentifier>("LdpIdentifier");
  addFor<routerId>("RouterId");
  addFor<fwdEqvClass>("FwdEqvClass");
  return true;
}();

}  // namespace
