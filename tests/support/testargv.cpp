#include "testargv.h"

TestArgv::TestArgv(const QStringList &arguments)
{
    for (const QString &argument : arguments)
        storage.append(argument.toLocal8Bit());
    for (QByteArray &argument : storage)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    argc = int(storage.size());
}

QStringList TestArgv::rest() const
{
    QStringList list;
    for (int i = 1; i < argc; ++i)
        list.append(QString::fromLocal8Bit(pointers[size_t(i)]));
    return list;
}
