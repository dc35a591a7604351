#include "forms/check_window.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QShowEvent>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include "database/check_database.h"
#include "forms/help_video_panel.h"
#include "forms/message_list.h"
#include "util/user_messages.h"

namespace tembrix {

TForm7::TForm7(TDataModule1& store, QWidget* parent) : QDialog(parent), m_store(store) {
    setObjectName(QStringLiteral("Form7"));
    setWindowTitle(QStringLiteral("Поиск ошибок в базе данных"));

    auto* options = new QGroupBox(QStringLiteral("Параметры проверки"), this);
    options->setObjectName(QStringLiteral("GroupBox1"));
    const QString captions[5] = {
        QStringLiteral("Проверять дубликаты записей (хэш, размер, номер аудио трека)"),
        QStringLiteral("Проверять пустые поля (хэши, индексные данные, описание)"),
        QStringLiteral("Проверять наличие исходных файлов (если индексация производилась локально)"),
        QStringLiteral("Проверять значения индексов"),
        QStringLiteral("Проверять размеры индексов"),
    };
    const bool checked[5] = {true, true, false, true, true};
    auto* optionsLayout = new QVBoxLayout(options);
    for (int i = 0; i < 5; ++i) {
        m_checkBoxes[i] = new QCheckBox(captions[i], options);
        m_checkBoxes[i]->setObjectName(QStringLiteral("CheckBox%1").arg(i + 1));
        m_checkBoxes[i]->setChecked(checked[i]);
        optionsLayout->addWidget(m_checkBoxes[i]);
    }
    optionsLayout->addStretch(1);

    auto* info = new QGroupBox(QStringLiteral("Информация"), this);
    info->setObjectName(QStringLiteral("GroupBox3"));
    m_video = new HelpVideoPanel(8, QCoreApplication::applicationDirPath(), info);
    m_video->setObjectName(QStringLiteral("PanelVideo"));
    auto* infoLayout = new QVBoxLayout(info);
    infoLayout->addWidget(m_video);
    info->setFixedWidth(245);

    auto* top = new QHBoxLayout;
    top->addWidget(options, 1);
    top->addWidget(info);

    auto* pages = new QTabWidget(this);
    pages->setObjectName(QStringLiteral("PageControl1"));
    auto* page = new QWidget;
    auto* found = new QGroupBox(QStringLiteral("Найденные ошибки"), page);
    found->setObjectName(QStringLiteral("GroupBox2"));
    m_memo1 = new MessageList(found);
    m_memo1->setObjectName(QStringLiteral("Memo1"));
    auto* foundLayout = new QVBoxLayout(found);
    foundLayout->addWidget(m_memo1);
    auto* pageLayout = new QVBoxLayout(page);
    pageLayout->setContentsMargins(4, 4, 4, 4);
    pageLayout->addWidget(found);
    pages->addTab(page, QStringLiteral("Сообщения об ошибках"));

    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("ProgressBar1"));
    m_progress->setRange(0, 100);
    // The bar comes and goes; the buttons keep their place.
    QSizePolicy keepPlace = m_progress->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    m_progress->setSizePolicy(keepPlace);

    m_start = new QPushButton(style()->standardIcon(QStyle::SP_MediaPlay), QStringLiteral("Старт"), this);
    m_start->setObjectName(QStringLiteral("BitBtn1"));
    m_stop = new QPushButton(style()->standardIcon(QStyle::SP_MediaStop), QStringLiteral("Стоп"), this);
    m_stop->setObjectName(QStringLiteral("BitBtn2"));
    m_close =
        new QPushButton(style()->standardIcon(QStyle::SP_DialogCloseButton), QStringLiteral("Закрыть"), this);
    m_close->setObjectName(QStringLiteral("BitBtn3"));
    for (QPushButton* button : {m_start, m_stop, m_close}) {
        button->setAutoDefault(false);
        button->setMinimumWidth(100);
    }
    connect(m_start, &QPushButton::clicked, this, &TForm7::BitBtn1Click);
    connect(m_stop, &QPushButton::clicked, this, &TForm7::BitBtn2Click);
    connect(m_close, &QPushButton::clicked, this, &TForm7::BitBtn3Click);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_progress, 1);
    bottom->addWidget(m_start);
    bottom->addWidget(m_stop);
    bottom->addWidget(m_close);

    auto* statusBar1 = new QStatusBar(this);
    statusBar1->setObjectName(QStringLiteral("StatusBar1"));
    statusBar1->setSizeGripEnabled(false);
    m_status0 = new QLabel(statusBar1);
    statusBar1->addWidget(m_status0, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 0);
    layout->addLayout(top);
    layout->addWidget(pages, 1);
    layout->addLayout(bottom);
    layout->addWidget(statusBar1);
    resize(760, 560);

    m_timer1 = new QTimer(this);
    m_timer1->setInterval(1000);
    connect(m_timer1, &QTimer::timeout, this, &TForm7::Timer1Timer);
    m_timer1->start();

    m_stop->hide();
    m_progress->hide();
}

TForm7::~TForm7() {
    // The worker may still call back while it is joined; the window no longer listens.
    m_destroying = true;
    m_worker.reset();
}

QCheckBox* TForm7::CheckBox(int n) const {
    return n >= 1 && n <= 5 ? m_checkBoxes[n - 1] : nullptr;
}

int TForm7::MessageCount() const {
    return m_memo1->Count();
}

void TForm7::showEvent(QShowEvent* event) {
    if (!event->spontaneous()) {
        FormShow();
    }
    QDialog::showEvent(event);
}

void TForm7::ShowMessageCount() {
    m_status0->setText(QStringLiteral("Количество сообщений: %1").arg(MessageCount()));
}

void TForm7::FormShow() {
    m_memo1->Clear();
    ShowMessageCount();
    m_progress->hide();
    m_running = false;
    m_start->show();
    m_close->show();
    m_stop->hide();
}

void TForm7::BitBtn1Click() {
    if (m_running) {
        Messages().ShowMessage(QStringLiteral("Проверка уже начата!"));
        return;
    }
    m_memo1->Clear();
    ShowMessageCount();
    m_running = true;
    m_progress->setValue(0);
    m_progress->show();
    m_close->hide();
    m_start->hide();
    m_stop->show();

    m_worker.reset();
    m_worker = std::make_unique<CheckDatabase>(m_store);
    m_worker->checkDuplicates = m_checkBoxes[0]->isChecked();
    m_worker->checkEmptyFields = m_checkBoxes[1]->isChecked();
    m_worker->checkSourceFiles = m_checkBoxes[2]->isChecked();
    m_worker->checkIndexValues = m_checkBoxes[3]->isChecked();
    // The size check follows the index-values box too; "Проверять размеры индексов" is not read.
    m_worker->checkIndexSizes = m_checkBoxes[3]->isChecked();
    m_worker->onLines = [this](const QStringList& lines) {
        if (!m_destroying) {
            m_memo1->AppendLines(lines);
        }
    };
    m_worker->onFailure = [this](const QString& error) {
        if (!m_destroying) {
            Messages().ShowMessage(error);
        }
    };
    m_worker->onFinish = [this] {
        if (!m_destroying) {
            FinishExecute();
        }
    };
    m_worker->start();
    m_timer1->start();
}

void TForm7::BitBtn2Click() {
    if (!m_running) {
        Messages().ShowMessage(QStringLiteral("Проверка ещё не запущена!"));
        return;
    }
    m_running = false;
    m_progress->hide();
    if (m_worker) {
        m_worker->requestInterruption();
        // Waits for the thread; its finish notification runs meanwhile and brings the buttons back.
        m_worker.reset();
    }
}

void TForm7::BitBtn3Click() {
    close();
}

void TForm7::Timer1Timer() {
    if (m_running && m_worker) {
        m_progress->setValue(m_worker->progress.load());
    }
    ShowMessageCount();
}

void TForm7::FinishExecute() {
    m_running = false;
    m_timer1->stop();
    ShowMessageCount();  // the count of this run, also when it was stopped before the next tick
    m_progress->setValue(100);
    Messages().ShowMessage(QStringLiteral("Проверка закончена!"));
    m_close->show();
    m_start->show();
    m_stop->hide();
}

bool TForm7::FormCloseQuery() {
    if (m_running) {
        Messages().ShowMessage(QStringLiteral("Дождитесь окончания проверки или остановите её!"));
        return false;
    }
    return true;
}

void TForm7::done(int result) {
    if (!FormCloseQuery()) {
        return;
    }
    m_video->CloseClip();
    QDialog::done(result);
}

}  // namespace tembrix
