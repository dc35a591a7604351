#include "forms/report_window.h"

#include <QCloseEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTabWidget>
#include <QTextCursor>
#include <QTimer>
#include <QVBoxLayout>

#include "forms/help_video_panel.h"
#include "forms/wrapped_text_fit.h"

namespace tembrix {

namespace {

const char* const kPageTitles[3] = {"Успешно обработаны", "Сообщения об ошибках", "Проиндексированы ранее"};

}  // namespace

TForm3::TForm3(const QString& programDir, QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("Form3"));
    setWindowTitle(QStringLiteral("Вывод сообщений"));

    auto* menuBar = new QMenuBar(this);
    QMenu* messages = menuBar->addMenu(QStringLiteral("Сообщения"));
    QAction* clear = messages->addAction(QStringLiteral("Очистить"));
    clear->setObjectName(QStringLiteral("N2"));
    connect(clear, &QAction::triggered, this, &TForm3::N2Click);

    m_pages = new QTabWidget(this);
    m_pages->setUsesScrollButtons(false);
    m_pages->setElideMode(Qt::ElideNone);
    for (int page = 0; page < 3; ++page) {
        auto* memo = new QPlainTextEdit(m_pages);
        memo->setObjectName(QStringLiteral("Memo%1").arg(page + 1));
        memo->setReadOnly(true);
        memo->setLineWrapMode(QPlainTextEdit::NoWrap);
        m_memos[page] = memo;
        m_pages->addTab(memo, QString::fromUtf8(kPageTitles[page]));
    }

    auto* info = new QGroupBox(QStringLiteral("Информация"), this);
    auto* text = new QLabel(
        QStringLiteral(
            "Если индексация аудио файлов идёт медленно, попробуйте увеличить количество потоков в "
            "настройках программы. Это можно сделать даже во время индексации. Если в процессе индексации "
            "видео Вы получаете сообщения об ошибках, связанные с невозможностью копирования файлов, то, "
            "наоборот, уменьшите количество потоков или отключите в настройках галочку \"Копировать файлы в "
            "рабочий каталог\". Повторно запустите индексацию, чтобы обработать пропущенные файлы."),
        info);
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_video = new HelpVideoPanel(5, programDir, info);
    auto* infoLayout = new QVBoxLayout(info);
    infoLayout->addWidget(text);
    infoLayout->addSpacing(4);
    infoLayout->addWidget(m_video);
    infoLayout->addStretch(1);
    info->setFixedWidth(330);
    m_info = info;

    auto* statusBar = new QStatusBar(this);
    statusBar->setSizeGripEnabled(false);
    for (int panel = 0; panel < 3; ++panel) {
        m_status[panel] = new QLabel(statusBar);
        statusBar->addWidget(m_status[panel], 1);
    }

    auto* body = new QHBoxLayout;
    body->addWidget(m_pages, 1);
    body->addWidget(info);
    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(menuBar);
    layout->addLayout(body, 1);
    layout->addWidget(statusBar);

    m_timer1 = new QTimer(this);
    m_timer1->setInterval(1000);
    connect(m_timer1, &QTimer::timeout, this, &TForm3::Timer1Timer);
    m_timer1->start();
    Timer1Timer();
    resize(1000, 520);
}

void TForm3::AppendLine(int page, const QString& line) {
    if (page < 0 || page > 2) {
        return;
    }
    QPlainTextEdit* memo = m_memos[page];
    memo->appendPlainText(line);
    // The cursor goes to the start of the new line, so the view follows the lines without scrolling
    // sideways to the end of a long one.
    memo->moveCursor(QTextCursor::End);
    memo->moveCursor(QTextCursor::StartOfBlock);
    ++m_counts[page];
}

void TForm3::N2Click() {
    for (int page = 0; page < 3; ++page) {
        m_memos[page]->clear();
        m_counts[page] = 0;
    }
    Timer1Timer();
}

void TForm3::Timer1Timer() {
    static const char* const kLabels[3] = {
        "Успешно обработаны: ", "Сообщения об ошибках: ", "Проиндексированы ранее: "};
    for (int panel = 0; panel < 3; ++panel) {
        m_status[panel]->setText(QString::fromUtf8(kLabels[panel]) + QString::number(m_counts[panel]));
    }
}

QString TForm3::PageText(int page) const {
    return page >= 0 && page < 3 ? m_memos[page]->toPlainText() : QString();
}

QString TForm3::StatusText(int panel) const {
    return panel >= 0 && panel < 3 ? m_status[panel]->text() : QString();
}

void TForm3::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The window's minimum keeps the information text whole beside the help video.
    ClaimWrappedHeight(m_info);
}

void TForm3::closeEvent(QCloseEvent* event) {
    m_video->CloseClip();
    event->accept();
}

}  // namespace tembrix
