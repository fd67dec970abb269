#pragma once

#include "support/file_faults.h"

#include <QtTest>

#include <cerrno>
#include <functional>

/// Adds a row for each error of a full or broken disk, of a file system, or of a process at its
/// limits. For a test that fetches `error`.
inline void addFileErrors()
{
    QTest::addColumn<int>("error");
    QTest::newRow("a full disk") << ENOSPC;
    QTest::newRow("a broken disk") << EIO;
    QTest::newRow("a file system that became read-only") << EROFS;
    QTest::newRow("a forbidden change") << EACCES;
    QTest::newRow("no free descriptor") << EMFILE;
}

/// Repeats a piece of work, and makes another one of its calls to the file system fail each time,
/// until every call has failed once. Ends early when a check of the test has failed.
/// @param work does the work from the beginning and checks the outcome. It makes the call with the
///     number that it is given fail, and returns whether there was such a call.
inline void withEveryCallFailing(const std::function<bool(int)> &work)
{
    int which = 0;
    while (work(which) && !QTest::currentTestFailed())
        ++which;
    // With fewer calls the faults would not have reached the work.
    QVERIFY2(QTest::currentTestFailed() || which > 3, qPrintable(QString::number(which)));
}
