#pragma once

#include "fuzz/support/input.h"

#include <QByteArray>

struct DBusMessage;

// Makes well-formed messages of any types and values from the bytes of an input. Texts are often
// names that the daemon and its peers use, because random texts never match one.

/// A signature of at most this many complete types, each nested at most four times.
[[nodiscard]] QByteArray randomSignature(Input &input, int types);

/// Appends arguments with this signature.
void appendArguments(DBusMessage *message, const QByteArray &signature, Input &input);
