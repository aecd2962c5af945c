#pragma once

#include <QStringList>
#include <vector>

// A writable, null-terminated argc/argv for calling a main()-like function that may
// take arguments out of it; arguments.first() is the program.
struct TestArgv
{
    explicit TestArgv(const QStringList &arguments)
    {
        for (const QString &argument : arguments)
            storage.append(argument.toLocal8Bit());
        for (QByteArray &argument : storage)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        argc = int(storage.size());
    }
    TestArgv(const TestArgv &) = delete;
    char **argv() { return pointers.data(); }
    // What is left after the program name, as the callee left it.
    QStringList rest() const
    {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list.append(QString::fromLocal8Bit(pointers[size_t(i)]));
        return list;
    }

    QList<QByteArray> storage;
    std::vector<char *> pointers;
    int argc = 0;
};
