#pragma once

#include "support/literals.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>

/// Text with names of functions as GCC spells them. Log lines name the function that wrote them,
/// and clang spells these names otherwise: with the blank before "&" and "*" and not after them,
/// and lambdas by their operator.
/// @param text of a program that the same compiler has built; may hold any other text.
inline QByteArray withFunctionNamesOfGcc(const QByteArray &text)
{
#ifdef __clang__
    static const QRegularExpression lambda(
        uR"(auto ([^\n]*)::\(anonymous class\)::operator\(\)\(([^\n]*?)\) const)"_s);
    static const QRegularExpression inArguments(uR"( ([&*]+)(?=[,)]))"_s);
    static const QRegularExpression beforeName(uR"( ([&*]+)(?=[\w:]+[^\w\s(]*\())"_s);
    QString spelled = QString::fromLatin1(text);
    spelled.replace(lambda, uR"(\1::<lambda(\2)>)"_s);
    spelled.replace(inArguments, uR"(\1)"_s);
    spelled.replace(beforeName, uR"(\1 )"_s);
    return spelled.toLatin1();
#else
    return text;
#endif
}
