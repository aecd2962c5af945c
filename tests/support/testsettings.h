#pragma once

#include <QString>
#include <QTemporaryDir>

// Points every default-constructed QSettings of the process at a fresh temporary
// folder, in INI format under the program's organisation and application names,
// so that tests never touch the user's real settings.
class TestSettings
{
public:
    TestSettings();
    ~TestSettings();

    // Empties the settings file (a fresh session).
    void reset();
    QString fileName() const;
    QString dir() const { return tempDir.path(); }

private:
    QTemporaryDir tempDir;
};
