/// Attributes as a table: one row per attribute of a record, with what reads and what sets it. The functions below are
/// the usual entries of a row; a bus adds its own.
#pragma once

#include "QVvisaAttributeValue.h"
#include "QVvisaShared.h"

#include <algorithm>
#include <iterator>

template <typename Record>
struct QVvisa_attribute_t {
  ViAttr name;
  ViStatus (*get)(Record&, ViAttr, void* attrValue);
  ViStatus (*set)(Record&, ViAttr, ViAttrState);
};

/// The row of an attribute, null for one that isn't in the table.
template <typename Record, size_t rows>
const QVvisa_attribute_t<Record>* QVvisa_findAttribute(const QVvisa_attribute_t<Record> (&table)[rows], ViAttr name) {
  const auto* row = std::ranges::find(table, name, &QVvisa_attribute_t<Record>::name);
  return row == std::end(table) ? nullptr : row;
}

/// Reads an attribute; VI_ERROR_NSUP_ATTR for one that isn't in the table.
template <typename Record, size_t rows>
ViStatus QVvisa_getAttribute(const QVvisa_attribute_t<Record> (&table)[rows], Record& record, ViAttr name,
                             void* attrValue) {
  const auto* row = QVvisa_findAttribute(table, name);
  return row ? row->get(record, name, attrValue) : VI_ERROR_NSUP_ATTR;
}

/// Sets an attribute, in the same way.
template <typename Record, size_t rows>
ViStatus QVvisa_setAttribute(const QVvisa_attribute_t<Record> (&table)[rows], Record& record, ViAttr name,
                             ViAttrState value) {
  const auto* row = QVvisa_findAttribute(table, name);
  return row ? row->set(record, name, value) : VI_ERROR_NSUP_ATTR;
}

namespace attribute {

/// Reads a value that never changes, in its own type.
template <auto Value, typename Record>
ViStatus constant(Record&, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, Value);
}

/// Reads a field as a number of a type.
template <typename Value, auto Field, typename Record>
ViStatus number(Record& record, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, static_cast<Value>(loadShared(record.*Field)));
}

/// Reads a field that has the attribute's type.
template <auto Field, typename Record>
ViStatus field(Record& record, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, loadShared(record.*Field));
}

/// Reads a text.
template <auto Field, typename Record>
ViStatus text(Record& record, ViAttr, void* attrValue) {
  return QVvisa_deliverText(attrValue, record.*Field);
}

/// Leaves reading, or setting, to the attributes common to all buses.
template <typename Record>
ViStatus notHere(Record&, ViAttr, void*) {
  return VI_ERROR_NSUP_ATTR;
}
template <typename Record>
ViStatus notHere(Record&, ViAttr, ViAttrState) {
  return VI_ERROR_NSUP_ATTR;
}

template <typename Record>
ViStatus readOnly(Record&, ViAttr, ViAttrState) {
  return VI_ERROR_ATTR_READONLY;
}

/// Stores the low bits of a value, as many as the field has.
template <auto Field, typename Record>
ViStatus store(Record& record, ViAttr, ViAttrState value) {
  storeShared(record.*Field, static_cast<std::remove_reference_t<decltype(record.*Field)>>(value));
  return VI_SUCCESS;
}

template <auto Field, typename Record>
ViStatus storeBoolean(Record& record, ViAttr, ViAttrState value) {
  storeShared(record.*Field, value ? VI_TRUE : VI_FALSE);
  return VI_SUCCESS;
}

/// Stores a value up to the largest of the attribute's.
template <auto Field, ViAttrState Largest, typename Record>
ViStatus storeUpTo(Record& record, ViAttr name, ViAttrState value) {
  return value > Largest ? VI_ERROR_NSUP_MODE : store<Field>(record, name, value);
}

}  // namespace attribute
