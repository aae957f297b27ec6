#include "platform/forma/TypeRegistry.h"

#include "platform/forma/EntityType.h"

namespace Forma {

namespace {

[[noreturn]] void throwUnknown(std::string_view what, std::string_view name) {
  throwNameException("no " + std::string(what) + " is called \"" + std::string(name) + "\"");
}

}  // namespace

const ValueType::Field& ValueType::field(std::string_view wanted) const {
  for (const Field& one : fields)
    if (one.name == wanted) return one;
  throwUnknown("field of " + std::string(name), wanted);
}

AnyValue::AnyValue(const TypeRegistry& registry, const ValueType& type)
    : registry_(&registry), type_(&type), data_(type.make()) {}

AnyValue::AnyValue(const TypeRegistry& registry, const ValueType& type, const void* from)
    : registry_(&registry), type_(&type), data_(type.copy(from)) {}

AnyValue& AnyValue::operator=(AnyValue o) noexcept {
  registry_ = o.registry_;
  type_ = o.type_;
  data_ = std::move(o.data_);
  return *this;
}

String8 AnyValue::text() const {
  std::string out;
  type_->print(out, data());
  return String8(out);
}

void AnyValue::textIs(std::string_view text) {
  AnyValue next(*this);
  TextIn in(text);
  type_->parse(in, next.data());
  if (!in.atEnd()) in.fail("the end of the text");
  *this = std::move(next);
}

std::string AnyValue::wire() const {
  std::string out;
  type_->encode(out, data());
  return out;
}

void AnyValue::wireIs(std::string_view bytes) {
  AnyValue next(*this);
  BytesIn in(bytes);
  type_->decode(in, next.data());
  if (!in.atEnd()) in.fail("the end of the value");
  *this = std::move(next);
}

AnyValue AnyValue::field(std::string_view name) const {
  const ValueType::Field& field = type_->field(name);
  return {*registry_, registry_->value(field.type), field.get(data())};
}

void AnyValue::fieldIs(std::string_view name, const AnyValue& value) {
  const ValueType::Field& field = type_->field(name);
  if (field.type != value.type().name)
    throwNameException(std::string(type_->name) + "::" + std::string(name) + " is a " +
                       std::string(field.type) + ", not a " + std::string(value.type().name));
  field.set(data(), value.data());
}

TypeRegistry::TypeRegistry() {
  add<bool, double, std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t,
      std::int16_t, std::int32_t, std::int64_t, String8, Name>();
}

const ValueType* TypeRegistry::findValue(std::string_view name) const {
  const auto at = values_.find(name);
  return at == values_.end() ? nullptr : &at->second;
}

const EntityType* TypeRegistry::findEntity(std::string_view name) const {
  const auto at = entities_.find(name);
  return at == entities_.end() ? nullptr : at->second;
}

const ValueType& TypeRegistry::value(std::string_view name) const {
  if (const ValueType* found = findValue(name)) return *found;
  throwUnknown("value type", name);
}

const EntityType& TypeRegistry::entity(std::string_view name) const {
  if (const EntityType* found = findEntity(name)) return *found;
  throwUnknown("entity type", name);
}

void TypeRegistry::addValueType(ValueType type) {
  const std::string_view name = type.name;
  values_.emplace(name, std::move(type));
}

void TypeRegistry::addEntityType(const EntityType& type) { entities_.emplace(type.name, &type); }

}  // namespace Forma
