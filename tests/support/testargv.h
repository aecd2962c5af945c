#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <vector>

// A writable, null-terminated argc/argv for calling a main()-like function that may
// take arguments out of it.
class TestArgv
{
public:
    explicit TestArgv(const QStringList &arguments); // arguments.first() is the program
    TestArgv(const TestArgv &) = delete;
    TestArgv &operator=(const TestArgv &) = delete;

    int argc = 0;
    char **argv() { return pointers.data(); }
    // What is left after the program name, as the callee left it.
    QStringList rest() const;

private:
    QList<QByteArray> storage;
    std::vector<char *> pointers;
};
