#include "forms/settings_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "forms/help_video_panel.h"
#include "forms/shell_open.h"
#include "forms/web_links.h"
#include "indexing/tool_locator.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

QLabel* Explanation(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    label->setObjectName(QStringLiteral("explanation"));
    return label;
}

// A group with a line edit and a "Выбрать" button that runs `choose`.
QGroupBox* PathGroup(const QString& title, QLineEdit*& edit, QWidget* parent, QObject* receiver,
                     const std::function<void()>& choose) {
    auto* group = new QGroupBox(title, parent);
    edit = new QLineEdit(group);
    auto* button = new QPushButton(QStringLiteral("Выбрать"), group);
    QObject::connect(button, &QPushButton::clicked, receiver, choose);
    auto* row = new QHBoxLayout(group);
    row->addWidget(edit, 1);
    row->addWidget(button);
    return group;
}

}  // namespace

QString ToolFilter(const QString& tool) {
#ifdef Q_OS_WIN
    const QString name = tool.toUpper() + QStringLiteral(".exe");
#else
    const QString name = tool.toLower();
#endif
    return name + QStringLiteral(" (") + name + u')';
}

TForm2::TForm2(Settings& settings, const QString& iniPath, const QString& programDir, int processors,
               QWidget* parent)
    : QDialog(parent),
      m_settings(settings),
      m_iniPath(iniPath),
      m_processors(processors),
      m_programDir(programDir) {
    setObjectName(QStringLiteral("Form2"));
    setWindowTitle(QStringLiteral("Настройки"));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setSizeGripEnabled(false);

    m_pages = new QTabWidget(this);
    m_pages->setUsesScrollButtons(false);
    m_pages->setElideMode(Qt::ElideNone);
    m_pages->addTab(MakeDatabasePage(), QStringLiteral("База данных и рабочий каталог"));
    m_pages->addTab(MakeToolsPage(), QStringLiteral("Необходимые утилиты"));
    m_pages->addTab(MakeSpeedPage(), QStringLiteral("Скорость индексации"));

    auto* info = new QGroupBox(QStringLiteral("Информация"), this);
    m_video = new HelpVideoPanel(6, programDir, info);
    auto* infoText = Explanation(
        QStringLiteral(
            "Перед началом работы необходимо загрузить и настроить путь к утилитам SOX и FFMPEG, а "
            "также рекомендуется создать новую базу данных и выбрать рабочий каталог."),
        info);
    auto* infoLayout = new QVBoxLayout(info);
    infoLayout->addWidget(m_video);
    infoLayout->addSpacing(4);
    infoLayout->addWidget(infoText);
    infoLayout->addStretch(1);
    info->setFixedWidth(290);

    m_save = new QPushButton(QStringLiteral("Сохранить"), this);
    m_save->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("Отмена"), this);
    connect(m_save, &QPushButton::clicked, this, &TForm2::SaveClick);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* body = new QHBoxLayout;
    body->addWidget(m_pages, 1);
    body->addWidget(info);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_save);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(body, 1);
    layout->addLayout(buttons);
    resize(sizeHint().expandedTo(QSize(900, 380)));
}

QWidget* TForm2::MakeDatabasePage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(
        PathGroup(QStringLiteral("База данных"), m_database, page, this, [this] { ChooseDatabase(); }));
    layout->addWidget(
        PathGroup(QStringLiteral("Рабочий каталог"), m_workDir, page, this, [this] { ChooseWorkDir(); }));
    layout->addWidget(Explanation(
        QStringLiteral("База данных хранит индексы всех проиндексированных аудио треков; её же открывает "
                       "программа Вокалис при поиске. В рабочем каталоге каждый поток индексации создаёт "
                       "свою папку для временных файлов: копий исходных файлов и извлечённого звука "
                       "(около 5,5 МБ на минуту записи). Рекомендуется выбрать рабочий каталог на "
                       "RAM-диске: индексация пойдёт быстрее, а основной диск не будет изнашиваться."),
        page));
    layout->addStretch(1);
    return page;
}

QWidget* TForm2::MakeToolsPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(
        PathGroup(QStringLiteral("Путь к FFMPEG"), m_ffmpeg, page, this, [this] { ChooseFfmpeg(); }));
    layout->addWidget(PathGroup(QStringLiteral("Путь к SOX"), m_sox, page, this, [this] { ChooseSox(); }));

    auto* download = new QGroupBox(QStringLiteral("Загрузка"), page);
    const struct {
        const char* caption;
        const char* hint;
        const QString* url;
    } buttons[4] = {
        {"FFMPEG", "", &links::kFfmpegDownload},
        {"SOX", "", &links::kSoxDownload},
        {"FFMPEG", "Загрузить с нашего сайта", &links::kOwnFfmpegArchive},
        {"SOX + Lame", "Содержит дополнительно библиотеку для работы с MP3 файлами", &links::kOwnSoxArchive},
    };
    auto* grid = new QHBoxLayout(download);
    for (int n = 0; n < 4; ++n) {
        auto* button = new QPushButton(QString::fromUtf8(buttons[n].caption), download);
        button->setToolTip(QString::fromUtf8(buttons[n].hint));
        const QString url = *buttons[n].url;
        connect(button, &QPushButton::clicked, this, [url] { ShellOpen(QUrl(url)); });
        m_downloads[n] = button;
        grid->addWidget(button);
    }
    m_downloads[0]->setToolTip(QStringLiteral("Страница загрузки FFMPEG"));
    m_downloads[1]->setToolTip(QStringLiteral("Страница загрузки SOX"));
    layout->addWidget(download);
    layout->addStretch(1);
    return page;
}

QWidget* TForm2::MakeSpeedPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    auto* threads = new QGroupBox(QStringLiteral("Количество потоков"), page);
    m_threads = new QComboBox(threads);
    for (int n = 1; n <= m_processors; ++n) {
        m_threads->addItem(QString::number(n));
    }
    m_threads->setMinimumWidth(90);
    auto* row = new QHBoxLayout(threads);
    row->addWidget(m_threads);
    row->addStretch(1);
    layout->addWidget(threads);
    m_copy = new QCheckBox(QStringLiteral("Копировать файлы в рабочий каталог"), page);
    layout->addWidget(m_copy);
    layout->addWidget(Explanation(
        QStringLiteral("Каждый поток индексирует свой файл, поэтому чем больше потоков, тем больше файлов "
                       "обрабатывается одновременно; больше, чем логических процессоров, выбрать нельзя. "
                       "Копирование в рабочий каталог ускоряет чтение файлов с сетевых и медленных дисков, "
                       "но требует места для копии каждого файла в работе. Количество потоков можно "
                       "менять даже во время индексации."),
        page));
    layout->addStretch(1);
    return page;
}

void TForm2::FormShow() {
    m_database->setText(m_settings.dbPath);
    m_workDir->setText(m_settings.workDir);
    m_ffmpeg->setText(m_settings.ffmpegPath);
    m_sox->setText(m_settings.soxPath);
    ToolLocator locator(m_programDir);
    const auto found = [](const QString& path) {
        return path.isEmpty() ? QStringLiteral("не найдена")
                              : QDir::toNativeSeparators(path) + QStringLiteral(" (найдена автоматически)");
    };
    m_ffmpeg->setPlaceholderText(found(locator.LocateFfmpeg()));
    m_sox->setPlaceholderText(found(locator.LocateSox()));
    m_threads->setCurrentIndex(m_settings.threads - 1);
    m_copy->setChecked(m_settings.copyToWorkDir);
}

void TForm2::SetPage(int page) {
    m_pages->setCurrentIndex(page);
}

int TForm2::CurrentPage() const {
    return m_pages->currentIndex();
}

void TForm2::ChooseDatabase() {
    const QString file = Messages().ChooseOpenFile(QStringLiteral("Выбрать базу данных"), m_database->text(),
                                                   QStringLiteral("Файлы баз данных (*.db)"));
    if (!file.isEmpty()) {
        m_database->setText(file);
    }
}

void TForm2::ChooseWorkDir() {
    const QString folder =
        Messages().ChooseFolder(QStringLiteral("Выбрать рабочий каталог"), m_workDir->text());
    if (!folder.isEmpty()) {
        m_workDir->setText(folder);
    }
}

void TForm2::ChooseFfmpeg() {
    const QString file = Messages().ChooseOpenFile(QStringLiteral("Путь к FFMPEG"), m_ffmpeg->text(),
                                                   ToolFilter(QStringLiteral("ffmpeg")));
    if (!file.isEmpty()) {
        m_ffmpeg->setText(file);
    }
}

void TForm2::ChooseSox() {
    const QString file = Messages().ChooseOpenFile(QStringLiteral("Путь к SOX"), m_sox->text(),
                                                   ToolFilter(QStringLiteral("sox")));
    if (!file.isEmpty()) {
        m_sox->setText(file);
    }
}

void TForm2::SaveClick() {
    m_settings.dbPath = m_database->text();
    m_settings.workDir = m_workDir->text();
    m_settings.ffmpegPath = m_ffmpeg->text();
    m_settings.soxPath = m_sox->text();
    m_settings.threads = m_threads->currentIndex() + 1;
    m_settings.copyToWorkDir = m_copy->isChecked();
    WriteSettings(m_iniPath, m_settings);
    accept();
}

void TForm2::showEvent(QShowEvent* event) {
    FormShow();
    if (parentWidget() != nullptr) {
        const QRect frame = parentWidget()->window()->geometry();
        move(frame.center() - rect().center());
    }
    QDialog::showEvent(event);
}

void TForm2::done(int result) {
    m_video->CloseClip();
    QDialog::done(result);
}

}  // namespace tembrix
