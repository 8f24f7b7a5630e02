#include "accuracy/reference.h"

namespace orv::accuracy {

Reference const* reference(std::string_view name, char type) {
  bool const complex = type == 'c' || type == 'z';
  for (auto const& table :
       {elementary_references(), circular_references(), special_references(), complex_references()})
    for (Reference const& r : table)
      if (r.name == name && r.complex == complex) return &r;
  return nullptr;
}

} // namespace orv::accuracy
