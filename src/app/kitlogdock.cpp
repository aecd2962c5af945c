#include "kitlogdock.h"

#include "constants.h"
#include "kitlog.h"
#include "link/serialcontroller.h"
#include "link/serialdispatcher.h"
#include "sensing/sensingparameters.h"

#include <QAction>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QStyle>
#include <QTableView>
#include <QVBoxLayout>

namespace {

const QString VisibleKey = QStringLiteral("kit_log_visible");

} // namespace

KitLogDock::KitLogDock(SerialController *serial, const QList<SerialDispatcher *> &dispatchers,
                       QMainWindow *window)
    : QDockWidget(QStringLiteral("Kit Log"), window),
      kitLog(new KitLog(KitDecoder(KitDecoder::registerStore(), sensingNameByCode), this))
{
    setObjectName(QStringLiteral("kitLogDock"));
    setFeatures(QDockWidget::DockWidgetClosable);
    setAllowedAreas(Qt::BottomDockWidgetArea);
    createUi();
    connectUi(serial, dispatchers);
    window->addDockWidget(Qt::BottomDockWidgetArea, this);
    const bool visible =
        QSettings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, VIEW_SETTINGS_NAME)
            .value(VisibleKey, false)
            .toBool();
    setVisible(visible);
    followVisibility(visible);
    // Only the View entry and its shortcut trigger the action; the dock's own close
    // button is seen in closeEvent.
    connect(toggleViewAction(), &QAction::triggered, this, &KitLogDock::rememberVisibility);
}

void KitLogDock::closeEvent(QCloseEvent *event)
{
    QDockWidget::closeEvent(event);
    if (event->isAccepted())
        rememberVisibility(false);
}

QMenu *KitLogDock::createViewMenu(QWidget *parent)
{
    auto *menu = new QMenu(QStringLiteral("&View"), parent);
    menu->setObjectName(QStringLiteral("viewMenu"));
    QAction *action = toggleViewAction();
    action->setObjectName(QStringLiteral("kitLogAction"));
    action->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_L));
    menu->addAction(action);
    // The menu bar lies inside the window; the window holds the shortcut as well.
    if (parentWidget())
        parentWidget()->addAction(action);
    return menu;
}

void KitLogDock::createUi()
{
    auto *panel = new QWidget(this);
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(4, 0, 4, 4);

    auto *buttons = new QHBoxLayout;
    saveButton = new QPushButton(QStringLiteral("Save Log..."), panel);
    saveButton->setObjectName(QStringLiteral("saveLogButton"));
    clearButton = new QPushButton(QStringLiteral("Clear"), panel);
    clearButton->setObjectName(QStringLiteral("clearLogButton"));
    buttons->addWidget(saveButton);
    buttons->addWidget(clearButton);
    buttons->addStretch();
    layout->addLayout(buttons);

    view = new QTableView(panel);
    view->setObjectName(QStringLiteral("kitLogView"));
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setWordWrap(false);
    view->setTextElideMode(Qt::ElideRight);
    view->verticalHeader()->hide();
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->horizontalHeader()->setStretchLastSection(true);
    view->horizontalHeader()->setMaximumSectionSize(MaxColumnWidth);
    // A few rows at least, however tall the pages above are.
    view->setMinimumHeight(view->verticalHeader()->defaultSectionSize() * MinVisibleRows);
    layout->addWidget(view);
    setWidget(panel);
}

void KitLogDock::connectUi(SerialController *serial, const QList<SerialDispatcher *> &dispatchers)
{
    connect(saveButton, &QPushButton::clicked, this, &KitLogDock::saveLog);
    connect(clearButton, &QPushButton::clicked, this, &KitLogDock::clearLog);
    connect(this, &QDockWidget::visibilityChanged, this, &KitLogDock::followVisibility);
    // The view learns of a new row after this dock would: it follows once the view
    // has taken the row in, if it showed the newest row before.
    connect(kitLog, &QAbstractItemModel::rowsAboutToBeInserted, this, &KitLogDock::noteBottom);
    connect(kitLog, &QAbstractItemModel::rowsInserted, this, [this] {
        if (view->model() != kitLog || followPosted)
            return;
        followPosted = true;
        QMetaObject::invokeMethod(this, &KitLogDock::followRows, Qt::QueuedConnection);
    });

    connect(serial, &SerialController::sigLinkChanged, kitLog,
            [log = kitLog](bool connected, const QString &port) {
                log->addEvent(connected ? QStringLiteral("kit connected on %1").arg(port)
                                        : QStringLiteral("kit disconnected from %1").arg(port));
            });
    connect(serial, &SerialController::sigExchangeStarted, kitLog,
            [log = kitLog](const QByteArray &command, int read_data_count, ReadType read_type) {
                log->beginExchange(command,
                                   SerialController::maxReplyBytes(read_type, read_data_count));
            });
    connect(serial, &SerialController::sigDataRead, kitLog,
            [log = kitLog](const QByteArray &data) { log->addReplyPiece(data); });
    connect(serial, &SerialController::sigExchangeEnded, kitLog,
            [log = kitLog](ReadType, ExchangeEnd end, const QByteArray &, qint64 elapsedMs) {
                log->endExchange(end, elapsedMs);
            });
    for (SerialDispatcher *dispatcher : dispatchers)
        connect(dispatcher, &SerialDispatcher::sigReplyRejected, kitLog,
                [log = kitLog](ReadType, const QString &reason) { log->rejectReply(reason); });
}

void KitLogDock::followVisibility(bool visible)
{
    if (!visible) {
        view->setModel(nullptr);
        return;
    }
    if (view->model() != kitLog) {
        view->setModel(kitLog);
        fitColumns();
        // How it ended stays in sight next to the command; the long reply comes last.
        QHeaderView *header = view->horizontalHeader();
        header->moveSection(header->visualIndex(KitLog::EndColumn),
                            header->visualIndex(KitLog::ReplyHexColumn));
    }
    view->scrollToBottom();
    atBottom = true;
}

// Each column as wide as what it usually holds, measured in the view's font: a time of
// hours, the longest command, a register write in words (on at most a share of the
// screen), a reply record and a half, the ends of exchanges that went well. Longer
// texts are elided and whole in their tool tips; the records come last and take what
// is left, so the window keeps its width.
void KitLogDock::fitColumns()
{
    const QString usual[KitLog::ColumnCount] = {QStringLiteral("99999999"),
                                                QStringLiteral("99999"),
                                                QStringLiteral("32 00 41 01 2C"),
                                                kitLog->widestRegisterWrite(),
                                                QStringLiteral("00 30 00 4B | 00 31"),
                                                QString(),
                                                QStringLiteral("not sent: no kit connected")};
    const QFontMetrics text = view->fontMetrics();
    const QFontMetrics header = view->horizontalHeader()->fontMetrics();
    // Room for the cell's margins and grid line, and for the header's own.
    const int margin = 2 * (view->style()->pixelMetric(QStyle::PM_FocusFrameHMargin) + 1) + 10;
    const QScreen *screen = window() ? window()->screen() : nullptr;
    const int commandMax =
        screen ? int(screen->availableGeometry().width() * MaxCommandShare) : MaxColumnWidth;
    for (int column = 0; column < KitLog::ColumnCount; ++column) {
        int width =
            qMax(text.horizontalAdvance(usual[column]),
                 header.horizontalAdvance(kitLog->headerData(column, Qt::Horizontal).toString())) +
            margin;
        if (column == KitLog::CommandColumn)
            width = qMin(width, commandMax);
        view->setColumnWidth(column, qMin(width, int(MaxColumnWidth)));
    }
}

void KitLogDock::noteBottom()
{
    // A burst of rows counts from where the view stood before the first.
    if (view->model() != kitLog || followPosted)
        return;
    const QScrollBar *bar = view->verticalScrollBar();
    atBottom = bar->value() >= bar->maximum();
}

void KitLogDock::rememberVisibility(bool visible)
{
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, VIEW_SETTINGS_NAME);
    settings.setValue(VisibleKey, visible);
    settings.sync();
}

void KitLogDock::followRows()
{
    followPosted = false;
    if (view->model() == kitLog && atBottom)
        view->scrollToBottom();
}

void KitLogDock::saveLog()
{
    QString fileName = QFileDialog::getSaveFileName(
        this, QStringLiteral("Save Log"), QDir::currentPath() + QStringLiteral("/kitlog.csv"),
        QStringLiteral("CSV Files (*.csv)"));
    if (fileName.isEmpty())
        return;
    if (QFileInfo(fileName).suffix().isEmpty())
        fileName += QStringLiteral(".csv");
    saveLogTo(fileName);
}

bool KitLogDock::saveLogTo(const QString &fileName)
{
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly) && file.write(kitLog->toCsv().toUtf8()) >= 0 &&
        file.commit())
        return true;
    QMessageBox box(QMessageBox::Warning, QString(),
                    QStringLiteral("The log could not be saved to %1: %2")
                        .arg(QDir::toNativeSeparators(fileName), file.errorString()),
                    QMessageBox::Ok, this);
    box.exec();
    return false;
}

void KitLogDock::clearLog()
{
    kitLog->clear();
}
