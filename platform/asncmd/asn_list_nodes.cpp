#include "platform/asncmd/asn_list_nodes.h"

#include <cxxabi.h>

#include <string_view>
#include <typeinfo>

namespace vela {
namespace {

// What the names of all std::list types begin with, up to the element type.
std::string_view ListPrefix() {
  const std::string_view name = typeid(AsnProbeList).name();
  return name.substr(0, name.find(typeid(AsnListProbe).name()));
}

// Walks the bases that the run-time type information records; AsnSeqOf<T> derives from AsnList<T>, which
// derives from std::list<T> and AsnType.
const char* FindListBase(const std::type_info& type, const char* object) {
  if (std::string_view(type.name()).substr(0, ListPrefix().size()) == ListPrefix()) return object;
  if (const auto* single = dynamic_cast<const abi::__si_class_type_info*>(&type)) {
    return FindListBase(*single->__base_type, object);
  }
  const auto* several = dynamic_cast<const abi::__vmi_class_type_info*>(&type);
  for (unsigned i = 0; several != nullptr && i < several->__base_count; ++i) {
    const abi::__base_class_type_info& base = several->__base_info[i];
    if (base.__is_virtual_p()) continue;
    if (const char* found = FindListBase(*base.__base_type, object + base.__offset())) return found;
  }
  return nullptr;
}

}  // namespace

AsnProbeList* FindListNodes(const AsnType& field) {
  const char* object = static_cast<const char*>(dynamic_cast<const void*>(&field));
  const char* nodes = FindListBase(typeid(field), object);
  return reinterpret_cast<AsnProbeList*>(const_cast<char*>(nodes));
}

}  // namespace vela
