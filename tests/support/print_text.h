#pragma once
// Readable failure messages for texts (found by argument-dependent look-up, so at global scope).

#include <QString>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
