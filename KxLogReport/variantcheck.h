#pragma once

#include <QtGlobal>

#include <functional>

/// The bytes of a serialised QVariant, one after another.
struct VariantBytes
{
    /// Puts the next byte into its argument; false when there is none left.
    std::function<bool(uchar &)> next;
    /// At most so many bytes are left.
    std::function<qint64()> left;
};

/// How settings objects serialise a QVariant: "@Variant(" in the format of Qt 4.0, "@DateTime(" in that of Qt 5.6.
enum class VariantForm { Qt40, Qt56DateTime };

/// Whether Qt can read the QVariant that @p bytes begin with, whatever it makes of it, without harm to the process.
///
/// Qt trusts the counts of lists and allocates at once what they announce, and follows nested values as deep as they
/// go. Types whose inside is not known here are harmless only at the top, where nothing follows that Qt would read.
bool isHarmlessVariant(const VariantBytes &bytes, VariantForm form);
