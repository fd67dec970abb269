#pragma once

#include "cli/gate.h"

#include <QVector>

/// The gate with a name; a gate without a name when there is none.
inline Cli::Gate gateNamed(const QVector<Cli::Gate> &gates, const QString &name)
{
    for (const Cli::Gate &gate : gates) {
        if (gate.name == name)
            return gate;
    }
    return {};
}
