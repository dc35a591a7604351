#include "forms/main_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QDir>
#include <QElapsedTimer>
#include <QFutureWatcher>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QStatusBar>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

#include "app/indexing_scheduler.h"
#include "database/index_store.h"
#include "forms/help_video_panel.h"
#include "forms/queue_model.h"
#include "forms/report_window.h"
#include "forms/settings_dialog.h"
#include "forms/wrapped_text_fit.h"
#include "indexing/media_types.h"
#include "util/file_utils.h"
#include "util/logs.h"
#include "util/path_utils.h"
#include "util/synchronize.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

const QString kCaptionIdle = QStringLiteral("Начать индексацию");
const QString kCaptionRunning = QStringLiteral("Остановить индексацию");
const QString kConfirmTitle = QStringLiteral("Требуется подтверждение");
const QString kListFilter = QStringLiteral("Список файлов (*.list)");

// Long paths lose their middle, where the folders repeat, rather than the file name at their end.
class MiddleElideDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->textElideMode = Qt::ElideMiddle;
    }
};

}  // namespace

QString MediaFileFilter() {
    return QStringLiteral("Аудио и видео файлы (") + MediaFileMasks().join(u' ') +
           QStringLiteral(");;Все файлы (*)");
}

namespace {

// Files added per slice while a folder is being added: the window repaints between slices.
constexpr int kSliceMilliseconds = 40;

}  // namespace

TForm1::TForm1(TDataModule1& store, const QString& executablePath, int slotCount, QWidget* parent)
    : QMainWindow(parent),
      m_executablePath(executablePath),
      m_session(executablePath, QStringLiteral("Read Ini file"), slotCount, {}, &store),
      m_files(m_session.Files()),
      m_settings(m_session.CurrentSettings()),
      m_queue(m_session.Queue()),
      m_store(m_session.Store()),
      m_scheduler(nullptr) {
    setObjectName(QStringLiteral("Form1"));
    ProgramLog(QStringLiteral("Prepare dialogs"));
    m_scheduler = &m_session.StartScheduler(slotCount);
    // Another copy of the program working in the same folder keeps its files: only the holder of the
    // folder's lock empties it.
    if (m_scheduler->LockWorkFolder()) {
        ClearWorkDirectoryExecute();
    }

    m_model = new QueueModel(m_queue, this);
    BuildBody();
    BuildMenus();
    BuildStatusBar();
    ConnectScheduler();
    FitMinimumSize();
    resize(std::max(1280, minimumWidth()), std::max(700, minimumHeight()));

    m_form2 = new TForm2(m_settings, m_files.iniPath, m_files.programDir, LogicalProcessors(), this);
    m_form3 = new TForm3(m_files.programDir, this);

    m_timer1 = new QTimer(this);
    m_timer1->setInterval(1000);
    connect(m_timer1, &QTimer::timeout, this, &TForm1::Timer1Timer);
    m_timer1->start();
    m_timer3 = new QTimer(this);
    m_timer3->setInterval(1000);
    connect(m_timer3, &QTimer::timeout, this, &TForm1::Timer3Timer);
    m_timer3->start();
    Timer3Timer();

    ProgramLog(QStringLiteral("Init completed"));
}

TForm1::~TForm1() {
    // The session ends the scheduler after the window's own members are gone: nothing of it may call
    // back into the window.
    disconnect(m_scheduler, nullptr, this, nullptr);
}

// ---------------------------------------------------------------- layout

void TForm1::BuildBody() {
    auto* central = new QWidget(this);

    auto* queueGroup = new QGroupBox(QStringLiteral("Список файлов в очереди на индексацию"), central);
    m_grid = new QTableView(queueGroup);
    m_grid->setObjectName(QStringLiteral("StringGrid1"));
    m_grid->setModel(m_model);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setWordWrap(false);
    m_grid->setItemDelegateForColumn(QueueModel::kPath, new MiddleElideDelegate(m_grid));
    m_grid->setAlternatingRowColors(true);
    m_grid->verticalHeader()->hide();
    m_grid->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 6);
    m_grid->horizontalHeader()->setHighlightSections(false);
    m_grid->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    // The path takes what the other columns leave; they are sized for their longest usual text.
    const QFontMetrics metrics = m_grid->fontMetrics();
    const int widths[QueueModel::kColumnCount] = {
        metrics.horizontalAdvance(QStringLiteral("100000")) + 14,
        metrics.horizontalAdvance(kStatusAlreadyIndexed) + 16,
        0,
        metrics.horizontalAdvance(QStringLiteral("Имя файла средней")) + 14,
        metrics.horizontalAdvance(QStringLiteral("видео")) + 16,
        metrics.horizontalAdvance(QStringLiteral("10000000000")) + 16,
        metrics.horizontalAdvance(QStringLiteral("30.12.2024 23:59:59")) + 18,
    };
    for (int column = 0; column < QueueModel::kColumnCount; ++column) {
        if (column != QueueModel::kPath) {
            m_grid->setColumnWidth(column, widths[column]);
        }
    }
    m_grid->horizontalHeader()->setSectionResizeMode(QueueModel::kPath, QHeaderView::Stretch);
    m_grid->horizontalHeader()->setMinimumSectionSize(30);
    m_grid->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_grid, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& at) { m_popup->popup(m_grid->viewport()->mapToGlobal(at)); });
    m_grid->installEventFilter(this);
    connect(m_grid->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        if (m_scrollingToWork) {
            return;
        }
        // The user scrolled: follow the files in work again only once the first of them is in view.
        const int row = FirstInWork();
        if (row >= 0) {
            const QRect visible = m_grid->viewport()->rect();
            m_followWork = visible.intersects(m_grid->visualRect(m_model->index(row, 0)));
        }
    });
    auto* queueLayout = new QVBoxLayout(queueGroup);
    queueLayout->addWidget(m_grid);

    auto* info = new QGroupBox(QStringLiteral("Информация"), central);
    auto* text = new QLabel(
        QStringLiteral(
            "Создайте новую базу данных (меню «База данных») или выберите существующую, укажите в "
            "настройках рабочий каталог и пути к утилитам FFMPEG и SOX. Затем добавьте в список аудио и "
            "видео файлы или целые каталоги с ними и нажмите «Начать индексацию». Каждый аудио трек "
            "каждого файла будет проиндексирован и записан в базу данных; ход работы виден в строке "
            "состояния и в окне сообщений. Проверьте результат, открыв ту же базу данных в программе "
            "Вокалис и включив воспроизведение одного из проиндексированных файлов."),
        info);
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_video = new HelpVideoPanel(4, m_files.programDir, info);
    auto* keys = new QLabel(QStringLiteral("<table cellspacing=0 cellpadding=1>"
                                           "<tr><td width=64><b>F5</b></td><td>начать индексацию</td></tr>"
                                           "<tr><td><b>F6</b></td><td>остановить индексацию</td></tr>"
                                           "<tr><td><b>Ctrl+F</b></td><td>добавить файлы</td></tr>"
                                           "<tr><td><b>Ctrl+D</b></td><td>добавить каталог</td></tr>"
                                           "<tr><td><b>Ctrl+S</b></td><td>сохранить список</td></tr>"
                                           "<tr><td><b>Ctrl+P</b></td><td>настройки</td></tr>"
                                           "<tr><td><b>F1</b></td><td>справка</td></tr></table>"),
                            info);
    keys->setObjectName(QStringLiteral("explanation"));
    auto* infoLayout = new QVBoxLayout(info);
    infoLayout->addWidget(text);
    infoLayout->addSpacing(4);
    infoLayout->addWidget(m_video);
    infoLayout->addSpacing(6);
    infoLayout->addWidget(keys);
    infoLayout->addStretch(1);
    info->setFixedWidth(310);
    m_info = info;

    m_bitBtn1 = new QPushButton(QStringLiteral("Добавить файлы"), central);
    m_bitBtn2 = new QPushButton(QStringLiteral("Добавить каталог"), central);
    m_bitBtn3 = new QPushButton(QStringLiteral("Новый список"), central);
    m_bitBtn4 = new QPushButton(kCaptionIdle, central);
    m_bitBtn4->setObjectName(QStringLiteral("BitBtn4"));
    m_bitBtn5 = new QPushButton(QStringLiteral("Выход"), central);
    m_bitBtn4->setMinimumWidth(m_bitBtn4->fontMetrics().horizontalAdvance(kCaptionRunning) + 40);
    connect(m_bitBtn1, &QPushButton::clicked, this, &TForm1::AddFilesExecute);
    connect(m_bitBtn2, &QPushButton::clicked, this, &TForm1::AddDirectoryExecute);
    connect(m_bitBtn3, &QPushButton::clicked, this, &TForm1::ClearListExecute);
    connect(m_bitBtn4, &QPushButton::clicked, this, &TForm1::BitBtn4Click);
    connect(m_bitBtn5, &QPushButton::clicked, this, &QWidget::close);

    // The job's progress between the buttons, just over the status panels, its text in the bar.
    m_progress = new QProgressBar(central);
    m_progress->setObjectName(QStringLiteral("JobProgress"));
    m_progress->setRange(0, 1000);
    m_progress->setValue(0);
    m_progress->setTextVisible(true);
    m_progress->setAlignment(Qt::AlignCenter);
    m_progress->setFormat(QString());
    m_progress->setMinimumWidth(m_progress->fontMetrics().horizontalAdvance(QStringLiteral(
                                    "Файлы: 9999 из 9999, 999,99 ГБ из 999,99 ГБ, осталось ~99:59:59")) +
                                16);

    auto* top = new QHBoxLayout;
    top->addWidget(queueGroup, 1);
    top->addWidget(info);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_bitBtn1);
    buttons->addWidget(m_bitBtn2);
    buttons->addWidget(m_bitBtn3);
    buttons->addWidget(m_progress, 1);
    buttons->addWidget(m_bitBtn4);
    buttons->addWidget(m_bitBtn5);
    auto* layout = new QVBoxLayout(central);
    layout->addLayout(top, 1);
    layout->addLayout(buttons);
    setCentralWidget(central);
}

void TForm1::FitMinimumSize() {
    // The instruction text, the help video and the keys, whole.
    ensurePolished();
    ClaimWrappedHeight(m_info);
    // The status bar's panels side by side, each whole.
    int statusWidth = 0;
    for (QLabel* panel : m_panels) {
        statusWidth += panel->minimumWidth();
    }
    statusWidth += 7 * 12;  // the gaps between them and the bar's margins
    // The path column keeps about 130 pixels at the minimum width and gets 250 at the default one.
    const QSize fitted = layout()->minimumSize().expandedTo(QSize(std::max(1150, statusWidth), 620));
    setMinimumSize(fitted);
}

void TForm1::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    // Fonts and margins are final once the style sheet has been applied.
    FitMinimumSize();
}

void TForm1::BuildMenus() {
    struct Item {
        const char* name;
        const char* caption;
        QKeySequence shortcut;
        void (TForm1::*handler)();
    };
    auto addItems = [this](QMenu* menu, std::initializer_list<Item> items) {
        for (const Item& item : items) {
            QAction* action = menu->addAction(QString::fromUtf8(item.caption));
            action->setObjectName(QString::fromLatin1(item.name));
            action->setShortcut(item.shortcut);
            action->setShortcutContext(Qt::WindowShortcut);
            connect(action, &QAction::triggered, this, item.handler);
        }
    };
    QMenuBar* bar = menuBar();
    addItems(bar->addMenu(QStringLiteral("Файл")),
             {
                 {"N2", "Новый список", QKeySequence(Qt::CTRL | Qt::Key_N), &TForm1::ClearListExecute},
                 {"N32", "Открыть список", QKeySequence(Qt::CTRL | Qt::Key_O), &TForm1::N32Click},
                 {"N31", "Сохранить список", QKeySequence(Qt::CTRL | Qt::Key_S), &TForm1::N31Click},
                 {"N3", "Добавить файлы", QKeySequence(Qt::CTRL | Qt::Key_F), &TForm1::AddFilesExecute},
                 {"N4", "Добавить файлы из каталога", QKeySequence(Qt::CTRL | Qt::Key_D),
                  &TForm1::AddDirectoryExecute},
                 {"N5", "Удалить файл", QKeySequence(Qt::CTRL | Qt::Key_Delete),
                  &TForm1::DeleteFileFromListExecute},
                 {"N7", "Выход", QKeySequence(), &TForm1::ExitMenuClick},
             });
    addItems(bar->addMenu(QStringLiteral("Приложения")),
             {
                 {"N47", "Перезапуск", QKeySequence(Qt::CTRL | Qt::Key_R), &TForm1::N47Click},
                 {"N49", "Вокалис", QKeySequence(), &TForm1::N49Click},
             });
    QMenu* settings = bar->addMenu(QStringLiteral("Настройки"));
    QAction* parameters = settings->addAction(QStringLiteral("Изменить параметры"));
    parameters->setObjectName(QStringLiteral("N18"));
    parameters->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    connect(parameters, &QAction::triggered, this, [this] { ShowSettings(-1); });
    addItems(
        bar->addMenu(QStringLiteral("База данных")),
        {
            {"N9", "Создать новую базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C),
             &TForm1::N9Click},
            {"N11", "Очистить содержимое базы данных", QKeySequence(Qt::ALT | Qt::Key_Backspace),
             &TForm1::N11Click},
            {"N42", "Сжать базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_M), &TForm1::N42Click},
            {"N14", "Переключиться на другую базу данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_D),
             &TForm1::N14Click},
            {"N16", "Просмотр базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_V), &TForm1::N16Click},
            {"N39", "Проверка базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_E), &TForm1::N39Click},
            {"N41", "Импорт информации из другой базы данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_I),
             &TForm1::N41Click},
            {"N44", "Информация о базе данных", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_A),
             &TForm1::N44Click},
        });
    QMenu* indexing = bar->addMenu(QStringLiteral("Индексация"));
    addItems(indexing, {
                           {"N20", "Старт", QKeySequence(Qt::Key_F5), &TForm1::StartExecute},
                           {"N21", "Стоп", QKeySequence(Qt::Key_F6), &TForm1::StopExecute},
                       });
    indexing->addSeparator();
    addItems(indexing, {{"N56", "Показать отчёт", QKeySequence(), &TForm1::N56Click}});
    QMenu* help = bar->addMenu(QStringLiteral("Помощь"));
    addItems(help, {
                       {"N27", "Справка", QKeySequence(Qt::Key_F1), &TForm1::N27Click},
                       {"N28", "О программе", QKeySequence(Qt::CTRL | Qt::Key_F1), &TForm1::N28Click},
                   });
    help->addSeparator();
    addItems(help, {
                       {"N52", "Сообщить об ошибке в программе", QKeySequence(), &TForm1::N52Click},
                       {"N53", "Добавить отзыв о программе", QKeySequence(), &TForm1::N53Click},
                       {"N54", "Написать разработчикам программы", QKeySequence(), &TForm1::N54Click},
                       {"N55", "Отправить сообщение через сайт", QKeySequence(), &TForm1::N55Click},
                   });

    m_popup = new QMenu(this);
    addItems(m_popup,
             {
                 {"N45", "Добавить файлы", QKeySequence(), &TForm1::AddFilesExecute},
                 {"N46", "Добавить каталог", QKeySequence(), &TForm1::AddDirectoryExecute},
                 {"N48", "Новый список", QKeySequence(), &TForm1::ClearListExecute},
                 {"N43", "Удалить файл из списка", QKeySequence(), &TForm1::DeleteFileFromListExecute},
                 {"N51", "Удалить все файлы перед выбранным", QKeySequence(), &TForm1::N51Click},
                 {"N50", "Удалить все файлы после выбранного", QKeySequence(), &TForm1::N50Click},
             });
}

void TForm1::BuildStatusBar() {
    QStatusBar* bar = statusBar();
    bar->setSizeGripEnabled(false);
    for (int panel = 0; panel < 6; ++panel) {
        m_panels[panel] = new QLabel(bar);
        m_panels[panel]->setObjectName(QStringLiteral("StatusPanel%1").arg(panel));
        bar->addWidget(m_panels[panel]);
    }
    // Each panel keeps room for a four-digit count, so none is cut at the window's minimum width.
    const QStringList widest = QueueCounterTexts(IndexingQueue());
    for (int panel = 0; panel < 6; ++panel) {
        const QString text = widest[panel].section(u':', 0, 0) + QStringLiteral(": 9999");
        m_panels[panel]->setMinimumWidth(m_panels[panel]->fontMetrics().horizontalAdvance(text) + 8);
    }
}

void TForm1::ConnectScheduler() {
    IndexingScheduler* scheduler = m_scheduler;
    connect(scheduler, &IndexingScheduler::queueChanged, this, [this] {
        UpdateListExecute();
        UpdateProgress();
        FollowWork();
    });
    connect(scheduler, &IndexingScheduler::runningChanged, this, &TForm1::OnRunningChanged);
    connect(scheduler, &IndexingScheduler::reportLine, this,
            [this](int list, const QString& line) { m_form3->AppendLine(list, line); });
    connect(scheduler, &IndexingScheduler::reportCleared, this, [this] { m_form3->N2Click(); });
}

// ---------------------------------------------------------------- start-up and closing

void TForm1::Timer1Timer() {
    m_timer1->stop();
    ProgramLog(QStringLiteral("Load info images"));
    SetImageExecute();
    m_session.ConnectSettingsDatabase();
    // (A job started within the first second keeps its scratch folders; another copy's are not ours.)
    if (!m_settings.workDir.isEmpty() && !m_scheduler->IsRunning() && m_scheduler->LockWorkFolder()) {
        ClearWorkDirectoryExecute();
    }
    Timer3Timer();
}

void TForm1::SetImageExecute() {
    HelpVideoPanel::LoadCovers(m_files.programDir, {4, 6, 5, 8, 9, 7});
}

void TForm1::StopPlayExecute() {
    HelpVideoPanel::StopAll();
}

void TForm1::ClearWorkDirectoryExecute() {
    m_scheduler->ClearWorkDirectoryExecute();
}

bool TForm1::WriteINIExecute() {
    return m_session.WriteSettings();
}

void TForm1::ExitMenuClick() {
    WriteINIExecute();
    // The workers go first: their folders are emptied after them.
    m_scheduler->StopAndWait(true);
    if (m_scheduler->LockWorkFolder()) {
        ClearWorkDirectoryExecute();
    }
    close();
}

void TForm1::closeEvent(QCloseEvent* event) {
    // FormCloseQuery: the settings are written and closing is always allowed.
    WriteINIExecute();
    event->accept();
    // FormClose. A running job is stopped without the stop message; the windows keep painting while its
    // tools end.
    m_video->CloseClip();
    m_scheduler->StopAndWait(true);
    if (m_scheduler->LockWorkFolder()) {
        ClearWorkDirectoryExecute();
    }
    m_form3->close();
    if (m_form9) {
        m_form9->close();
    }
    Q_EMIT closed();
}

// ---------------------------------------------------------------- the queue

QString TForm1::InitialFolder(const QString& name) const {
    const QString folder = JoinPath(m_files.programDir, name);
    return FolderExists(folder) ? folder : QString();
}

void TForm1::AddFilesExecute() {
    const QStringList files =
        Messages().ChooseOpenFiles(QStringLiteral("Выбрать файлы"), QString(), MediaFileFilter());
    for (const QString& file : files) {
        m_queue.AddFile(file);
    }
    UpdateListExecute();
}

void TForm1::AddDirectoryExecute() {
    const QString folder =
        Messages().ChooseFolder(QStringLiteral("Выбор каталога с аудио и видео файлами"), QString());
    if (folder.isEmpty()) {
        UpdateListExecute();
        return;
    }
    AddDirectory(folder);
}

void TForm1::AddDirectory(const QString& folder) {
    SetCollecting(true);
    // The paths are gathered on a pool thread into a list both sides share, then added in slices.
    auto paths = std::make_shared<QStringList>();
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher, paths] {
        WorkEndSeen(watcher);
        watcher->deleteLater();
        AddCollected(paths, 0);
    });
    watcher->setFuture(QtConcurrent::run([folder, paths, watcher] {
        FindFiles(folder, QStringLiteral("*.*"), true, false, *paths);
        MarkWorkEnd(watcher);
    }));
}

void TForm1::AddCollected(std::shared_ptr<QStringList> paths, qsizetype next) {
    QElapsedTimer slice;
    slice.start();
    while (next < paths->size() && slice.elapsed() < kSliceMilliseconds) {
        m_queue.AddFile(paths->at(next));
        ++next;
    }
    UpdateListExecute();
    if (next < paths->size()) {
        QTimer::singleShot(0, this, [this, paths, next] { AddCollected(paths, next); });
        return;
    }
    SetCollecting(false);
    Q_EMIT directoryAdded();
}

void TForm1::SetCollecting(bool collecting) {
    m_collecting += collecting ? 1 : -1;
    if (m_collecting > 0) {
        m_grid->viewport()->setCursor(Qt::BusyCursor);
    } else {
        m_grid->viewport()->unsetCursor();
    }
}

bool TForm1::IsCollecting() const {
    return m_collecting > 0;
}

void TForm1::ClearListExecute() {
    m_queue.Clear();
    UpdateListExecute();
}

void TForm1::DeleteFileFromListExecute() {
    if (m_queue.Count() == 0) {
        return;
    }
    const int selected = SelectedIndex();
    m_queue.Delete(selected);
    UpdateListExecute();
    SelectIndex(std::min<int>(selected, static_cast<int>(m_queue.Count()) - 1));
}

void TForm1::N50Click() {
    if (!Messages().AskYesNo(kConfirmTitle,
                             QStringLiteral("Вы точно хотите удалить все записи после выбранной?"))) {
        return;
    }
    const int selected = SelectedIndex();
    m_queue.DeleteAfter(selected);
    UpdateListExecute();
    SelectIndex(selected);
}

void TForm1::N51Click() {
    if (!Messages().AskYesNo(kConfirmTitle,
                             QStringLiteral("Вы точно хотите удалить все записи перед выбранной?"))) {
        return;
    }
    m_queue.DeleteBefore(SelectedIndex());
    UpdateListExecute();
    SelectIndex(0);
}

void TForm1::N31Click() {
    QString file = Messages().ChooseSaveFile(QStringLiteral("Сохранить список с файлами"),
                                             InitialFolder(QStringLiteral("lists")), kListFilter);
    if (file.isEmpty()) {
        return;
    }
    file = ForceExtension(file, QStringLiteral(".list"));
    if (!m_queue.Save(file)) {
        Messages().ShowMessage(QStringLiteral("Не удалось сохранить список: ") + file);
    }
}

void TForm1::N32Click() {
    const QString file = Messages().ChooseOpenFile(QStringLiteral("Открыть список с файлами"),
                                                   InitialFolder(QStringLiteral("lists")), kListFilter);
    if (file.isEmpty()) {
        return;
    }
    if (!m_queue.Open(file)) {
        Messages().ShowMessage(QStringLiteral("Не удалось открыть список: ") + file);
    }
    UpdateListExecute();
}

void TForm1::UpdateListExecute() {
    const int selected = SelectedIndex();
    m_model->Refresh();
    if (!m_grid->currentIndex().isValid() && m_queue.Count() > 0) {
        SelectIndex(std::min<int>(selected, static_cast<int>(m_queue.Count()) - 1));
    }
}

int TForm1::SelectedIndex() const {
    const QModelIndex current = m_grid->currentIndex();
    return current.isValid() ? current.row() : 0;
}

void TForm1::SelectIndex(int index) {
    if (index < 0 || index >= m_model->rowCount()) {
        return;
    }
    m_grid->setCurrentIndex(m_model->index(index, QueueModel::kStatus));
}

// ---------------------------------------------------------------- indexing

void TForm1::StartExecute() {
    StopPlayExecute();
    if (m_scheduler->IsRunning() || m_scheduler->IsStopping()) {
        return;
    }
    using Result = IndexingScheduler::StartResult;
    switch (m_scheduler->StartExecute()) {
        case Result::NoWorkDir:
        case Result::NoDatabase:
            ShowSettings(TForm2::kDatabasePage);
            return;
        case Result::NoFfmpeg:
        case Result::NoFfprobe:
        case Result::NoSox:
            ShowSettings(TForm2::kToolsPage);
            return;
        case Result::EmptyQueue:
        case Result::WorkDirBusy:  // the scheduler has said which folder is in use
            return;
        case Result::Started:
            break;
    }
    m_bitBtn4->setText(kCaptionRunning);
    StopPlayExecute();
    m_form3->show();
    m_form3->raise();
}

void TForm1::StopExecute() {
    if (!m_scheduler->IsRunning() || m_scheduler->IsStopping()) {
        return;
    }
    // The stop runs on: the button and the menu's Start and Stop wait until the workers have ended
    // (runningChanged(false)), while the windows go on answering.
    m_scheduler->StopExecute();
    if (m_scheduler->IsStopping()) {
        m_bitBtn4->setEnabled(false);
        Action(QStringLiteral("N20"))->setEnabled(false);
        Action(QStringLiteral("N21"))->setEnabled(false);
    }
    UpdateListExecute();
}

void TForm1::OnRunningChanged(bool running) {
    m_bitBtn4->setText(running ? kCaptionRunning : kCaptionIdle);
    m_bitBtn4->setEnabled(true);
    Action(QStringLiteral("N20"))->setEnabled(true);
    Action(QStringLiteral("N21"))->setEnabled(true);
    if (running) {
        m_jobProgress.Begin(TallyQueue(m_queue));
        m_jobClock.start();
        m_followWork = true;
    }
    ShowProgress();
    if (!running) {
        UpdateListExecute();
    }
}

void TForm1::BitBtn4Click() {
    if (m_bitBtn4->text() == kCaptionIdle) {
        StartExecute();
    } else {
        StopExecute();
    }
}

void TForm1::Timer3Timer() {
    const QStringList counts = QueueCounterTexts(m_queue);
    for (int panel = 0; panel < 6 && panel < counts.size(); ++panel) {
        m_panels[panel]->setText(counts[panel]);
    }
    setWindowTitle(QStringLiteral("Тембрикс - ") + m_settings.dbPath);
    UpdateProgress();
}

void TForm1::UpdateProgress() {
    if (m_scheduler->IsRunning()) {
        ShowProgress();
    }
}

void TForm1::ShowProgress() {
    if (!m_jobClock.isValid()) {
        return;  // no job yet: an empty bar
    }
    const ProgressSnapshot progress = m_jobProgress.Measure(TallyQueue(m_queue), m_jobClock.elapsed());
    m_progress->setValue(progress.permille);
    m_progress->setFormat(ProgressText(progress));
    m_progress->setToolTip(QStringLiteral("Прошло ") + ClockText(progress.elapsedMs / 1000));
}

int TForm1::FirstInWork() const {
    for (qsizetype n = 0; n < m_queue.Count(); ++n) {
        if (m_queue.At(n).status == kStatusInWork) {
            return static_cast<int>(n);
        }
    }
    return -1;
}

void TForm1::FollowWork() {
    const int row = FirstInWork();
    if (!m_followWork || row < 0) {
        return;
    }
    const QModelIndex index = m_model->index(row, 0);
    if (m_grid->viewport()->rect().contains(m_grid->visualRect(index))) {
        return;
    }
    // The first file in work goes to the top, so the ones after it are in view too.
    m_scrollingToWork = true;
    m_grid->scrollTo(index, QAbstractItemView::PositionAtTop);
    m_scrollingToWork = false;
}

bool TForm1::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_grid && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete &&
        static_cast<QKeyEvent*>(event)->modifiers() == Qt::NoModifier) {
        DeleteFileFromListExecute();
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

QString TForm1::StatusPanelText(int panel) const {
    return panel >= 0 && panel < 6 ? m_panels[panel]->text() : QString();
}

// ---------------------------------------------------------------- settings and modal windows

void TForm1::ShowSettings(int page) {
    StopPlayExecute();
    if (page >= 0) {
        m_form2->SetPage(page);
    }
    const QString before = m_settings.dbPath;
    if (RunModal(*m_form2) != QDialog::Accepted) {
        return;
    }
    // Saved: a database other than the connected one is switched to, as from the menu.
    const QString chosen = m_settings.dbPath;
    const QString connected = m_store.IsConnected() ? m_store.DatabasePath() : QString();
    if (QDir::cleanPath(chosen) == QDir::cleanPath(connected)) {
        return;
    }
    if (chosen.isEmpty()) {
        m_store.Disconnect();
        RefreshBrowser();
        Timer3Timer();
        return;
    }
    if (!FileExists(chosen)) {
        Messages().ShowMessage(QStringLiteral("Не найден файл: ") + chosen);
        m_settings.dbPath = before;
        WriteINIExecute();
        Timer3Timer();
        return;
    }
    SwitchDatabase(chosen);
}

int TForm1::RunModal(QDialog& dialog) {
    if (m_modal) {
        return m_modal(dialog);
    }
    return dialog.exec();
}

QAction* TForm1::Action(const QString& objectName) const {
    return findChild<QAction*>(objectName);
}

QWidget* TForm1::BrowserWindow() const {
    return m_form9;
}

}  // namespace tembrix
