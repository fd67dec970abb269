#pragma once

#include "common/Core/findings.h"
#include "common/places.h"

#include <QByteArray>
#include <QString>

/// A temporary root in memory, in which every reader finds its file. There is one for the whole
/// run, because making folders costs more than most readers. Log lines are formatted and dropped.
class Scratch
{
public:
    static const Scratch &instance();

    /// The places below the root, including those of files for the next run. Programs are not
    /// examined.
    [[nodiscard]] const Places &places() const { return m_places; }
    /// Replaces a file. Makes its folder when it does not exist.
    void write(const QString &path, const QByteArray &text) const;
    /// Writes a file with a new name, for readers that remember files by their names. Removes the
    /// last such file.
    [[nodiscard]] QString writeAnew(const QByteArray &text) const;
    [[nodiscard]] static QByteArray read(const QString &path);

private:
    Scratch();

    Places m_places;
};

/// Ignores findings.
class NoFindings : public Core::Findings
{
public:
    void report(const Core::Finding &, const Core::FindingOrigin &) override { }
};
