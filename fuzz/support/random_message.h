#pragma once

#include "fuzz/support/input.h"

#include <QByteArray>

struct DBusMessage;

// Well-formed messages that the bytes of an input describe: any types, any values. Texts are often
// names that the daemon and its peers use, because random ones never are.

/// A signature of so many complete types at most, each nested at most four times.
[[nodiscard]] QByteArray randomSignature(Input &input, int types);

/// Appends arguments of a signature.
void appendArguments(DBusMessage *message, const QByteArray &signature, Input &input);
