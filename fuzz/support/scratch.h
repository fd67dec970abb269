#pragma once

#include "common/Core/findings.h"
#include "common/places.h"

#include <QByteArray>
#include <QString>

/// A root of the process's own, in memory, in which every reader finds its file: one for the whole
/// run, because making folders costs more than most readers do. What is logged is formatted and
/// dropped.
class Scratch
{
public:
    static const Scratch &instance();

    /// Everything below the root, and what is kept for the next run as well. Programs are not
    /// examined.
    [[nodiscard]] const Places &places() const { return m_places; }
    /// Writes a file in place of what it was. Its folder is made when it is not there yet.
    void write(const QString &path, const QByteArray &text) const;
    /// Writes the text to a file of a new name, for who keeps what files said by their names.
    /// Removes the one before.
    [[nodiscard]] QString writeAnew(const QByteArray &text) const;
    [[nodiscard]] static QByteArray read(const QString &path);

private:
    Scratch();

    Places m_places;
};

/// Takes findings and forgets them.
class NoFindings : public Core::Findings
{
public:
    void report(const Core::Finding &, const Core::FindingOrigin &) override { }
};
