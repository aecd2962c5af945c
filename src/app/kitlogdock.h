#pragma once

#include <QDockWidget>
#include <QList>
#include <QString>

class KitLog;
class QMainWindow;
class QMenu;
class QPushButton;
class QTableView;
class SerialController;
class SerialDispatcher;

// The kit log at the bottom of the main window, with its "View" menu entry, "Save
// Log..." and "Clear". Hidden until asked for. It remembers its visibility alone, in
// a settings file of its own, so that the session file holds only the session, and
// only as the user sets it: the window's teardown hides it too.
// While hidden its table is detached from the log, so recording costs no drawing.
class KitLogDock : public QDockWidget
{
    Q_OBJECT
public:
    // px, room for the longest register write, while a reply column fitted to its
    // contents by hand stays short of thousands of pixels
    static constexpr int MaxColumnWidth = 1000;
    static constexpr int MinVisibleRows = 6;
    // Of the screen's width, what the command column takes at most, so that the
    // replies keep room beside it.
    static constexpr double MaxCommandShare = 0.4;

    // Places itself in the window's bottom dock area and records the exchanges of
    // serial, with the verdicts of the dispatchers on their replies.
    KitLogDock(SerialController *serial, const QList<SerialDispatcher *> &dispatchers,
               QMainWindow *window);

    KitLog *log() const { return kitLog; }
    // A "View" menu holding the checkable "Kit Log" entry, owned by parent.
    QMenu *createViewMenu(QWidget *parent);

    // Asks for a file name and writes the log there as CSV.
    void saveLog();
    // Writes the log as CSV; false with a message shown when it cannot.
    bool saveLogTo(const QString &fileName);
    void clearLog();

protected:
    // The dock's own close button: the user's choice, remembered.
    void closeEvent(QCloseEvent *event) override;

private:
    void createUi();
    void connectUi(SerialController *serial, const QList<SerialDispatcher *> &dispatchers);
    void followVisibility(bool visible);
    void rememberVisibility(bool visible);
    void fitColumns();
    void noteBottom();
    void followRows();

    KitLog *kitLog = nullptr;
    QTableView *view = nullptr;
    QPushButton *saveButton = nullptr;
    QPushButton *clearButton = nullptr;
    bool atBottom = true; // the view showed the newest row when the next one came
    bool followPosted = false;
};
