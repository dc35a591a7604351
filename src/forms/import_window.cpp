#include "forms/import_window.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QShowEvent>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

#include "database/import_database.h"
#include "database/import_source.h"
#include "database/index_store.h"
#include "forms/help_video_panel.h"
#include "forms/message_list.h"
#include "util/user_messages.h"

namespace tembrix {

namespace {

QLabel* InfoText(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    return label;
}

}  // namespace

TForm8::TForm8(TDataModule1& store, TDataModule2& source, QWidget* parent)
    : QDialog(parent), m_store(store), m_source(source) {
    setObjectName(QStringLiteral("Form8"));
    setWindowTitle(QStringLiteral("Импорт базы данных"));

    auto* sourceGroup = new QGroupBox(QStringLiteral("Импортируемые данные"), this);
    sourceGroup->setObjectName(QStringLiteral("GroupBox1"));
    auto* label1 = new QLabel(QStringLiteral("База данных"), sourceGroup);
    label1->setObjectName(QStringLiteral("Label1"));
    m_edit1 = new QLineEdit(sourceGroup);
    m_edit1->setObjectName(QStringLiteral("Edit1"));
    m_choose = new QPushButton(style()->standardIcon(QStyle::SP_DirOpenIcon), QStringLiteral("Выбрать"),
                               sourceGroup);
    m_choose->setObjectName(QStringLiteral("BitBtn1"));
    m_choose->setAutoDefault(false);
    connect(m_choose, &QPushButton::clicked, this, &TForm8::BitBtn1Click);
    auto* dataLayout = new QHBoxLayout(sourceGroup);
    dataLayout->addWidget(label1);
    dataLayout->addWidget(m_edit1, 1);
    dataLayout->addWidget(m_choose);

    auto* conflicts = new QGroupBox(QStringLiteral("Конфликтные записи с одинаковым хэшем"), this);
    conflicts->setObjectName(QStringLiteral("GroupBox2"));
    m_keep = new QRadioButton(QStringLiteral("Оставлять старые записи, игнорировать новые"), conflicts);
    m_keep->setObjectName(QStringLiteral("RadioButton1"));
    m_replace = new QRadioButton(QStringLiteral("Удалять старые записи, добавлять новые"), conflicts);
    m_replace->setObjectName(QStringLiteral("RadioButton2"));
    m_keep->setChecked(true);
    // The worker reads the policy at each duplicate, so a change during the import takes effect at once.
    connect(m_replace, &QRadioButton::toggled, this, [this](bool replace) {
        if (m_worker) {
            m_worker->replaceDuplicates = replace;
        }
    });
    auto* conflictsLayout = new QVBoxLayout(conflicts);
    conflictsLayout->addWidget(m_keep);
    conflictsLayout->addWidget(m_replace);

    auto* errors = new QGroupBox(QStringLiteral("Сообщения об ошибках"), this);
    errors->setObjectName(QStringLiteral("GroupBox3"));
    m_memo1 = new MessageList(errors);
    m_memo1->setObjectName(QStringLiteral("Memo1"));
    auto* errorsLayout = new QVBoxLayout(errors);
    errorsLayout->addWidget(m_memo1);

    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("ProgressBar1"));
    m_progress->setRange(0, 100);
    QSizePolicy keepPlace = m_progress->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    m_progress->setSizePolicy(keepPlace);

    m_start =
        new QPushButton(style()->standardIcon(QStyle::SP_MediaPlay), QStringLiteral("Начать импорт"), this);
    m_start->setObjectName(QStringLiteral("BitBtn3"));
    m_stop = new QPushButton(style()->standardIcon(QStyle::SP_MediaStop), QStringLiteral("Стоп"), this);
    m_stop->setObjectName(QStringLiteral("BitBtn4"));
    m_exit =
        new QPushButton(style()->standardIcon(QStyle::SP_DialogCloseButton), QStringLiteral("Выход"), this);
    m_exit->setObjectName(QStringLiteral("BitBtn2"));
    for (QPushButton* button : {m_start, m_stop, m_exit}) {
        button->setAutoDefault(false);
        button->setMinimumWidth(110);
    }
    connect(m_start, &QPushButton::clicked, this, &TForm8::BitBtn3Click);
    connect(m_stop, &QPushButton::clicked, this, &TForm8::BitBtn4Click);
    connect(m_exit, &QPushButton::clicked, this, &TForm8::BitBtn2Click);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_progress, 1);
    bottom->addWidget(m_start);
    bottom->addWidget(m_stop);
    bottom->addWidget(m_exit);

    auto* left = new QVBoxLayout;
    left->addWidget(sourceGroup);
    left->addWidget(conflicts);
    left->addWidget(errors, 1);
    left->addLayout(bottom);

    auto* info = new QGroupBox(QStringLiteral("Информация"), this);
    info->setObjectName(QStringLiteral("GroupBox4"));
    info->setFixedWidth(245);
    auto* text1 = InfoText(
        QStringLiteral("С помощью импортирования можно добавлять информацию из других баз данных, созданных "
                       "ранее программой \"Тембрикс\". Также можно ускорить процесс индексированя большого "
                       "набора данных. Для этого необходимо изначально разбить задачу индексирования на "
                       "несколько компьютеров и резудьтаты объединить на одном из них."),
        info);
    text1->setObjectName(QStringLiteral("StaticText1"));
    m_video = new HelpVideoPanel(9, QCoreApplication::applicationDirPath(), info);
    m_video->setObjectName(QStringLiteral("PanelVideo"));
    auto* text2 =
        InfoText(QStringLiteral(
                     "Выберите импортируемую базу данных (файл с расширением *.db). Определитесь, как решать "
                     "конфликтные ситуации (если файл был ранее проиндексирован) и начните процесс импорта с "
                     "помощью кнопки \"Начать импорт\". Если что то пошло не так, как планировалось, "
                     "остановите процесс с помощью кнопки \"Стоп\"."),
                 info);
    text2->setObjectName(QStringLiteral("StaticText2"));
    auto* text3 = InfoText(
        QStringLiteral("Перед началом ипорта настоятельно рекомендуется создать резервную копию базы."),
        info);
    text3->setObjectName(QStringLiteral("StaticText3"));
    QFont bold = text3->font();
    bold.setBold(true);
    text3->setFont(bold);
    auto* infoLayout = new QVBoxLayout(info);
    infoLayout->addWidget(text1);
    infoLayout->addWidget(m_video);
    infoLayout->addWidget(text2);
    infoLayout->addWidget(text3);
    infoLayout->addStretch(1);

    auto* layout = new QHBoxLayout(this);
    layout->addLayout(left, 1);
    layout->addWidget(info);
    resize(820, 640);

    m_timer1 = new QTimer(this);
    m_timer1->setInterval(500);
    connect(m_timer1, &QTimer::timeout, this, &TForm8::Timer1Timer);
    m_timer1->start();
    m_timer2 = new QTimer(this);
    m_timer2->setInterval(100);
    connect(m_timer2, &QTimer::timeout, this, &TForm8::Timer2Timer);

    ShowIdleButtons();
}

TForm8::~TForm8() {
    m_destroying = true;
    if (m_worker) {
        m_worker->requestInterruption();
        m_worker.reset();
        m_source.Disconnect();
    }
}

void TForm8::showEvent(QShowEvent* event) {
    if (!event->spontaneous()) {
        FormShow();
    }
    QDialog::showEvent(event);
}

void TForm8::ShowIdleButtons() {
    m_start->show();
    m_exit->show();
    m_stop->hide();
    m_progress->hide();
}

void TForm8::FormShow() {
    m_memo1->Clear();
    m_edit1->clear();
    ShowIdleButtons();
    m_keep->setChecked(true);
}

void TForm8::BitBtn1Click() {
    const QString chosen = Messages().ChooseOpenFile(
        QStringLiteral("Открыть"), QFileInfo(m_edit1->text()).path(), QStringLiteral("База данных (*.db)"));
    if (!chosen.isEmpty()) {
        m_edit1->setText(chosen);
    }
}

void TForm8::BitBtn3Click() {
    if (m_worker) {
        return;
    }
    if (!m_store.IsConnected()) {
        Messages().ShowMessage(QStringLiteral("Главная база данных не подключена!"));
        return;
    }
    const QString path = m_edit1->text();
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        Messages().ShowMessage(QStringLiteral("Выберите импортируемую базу данных!"));
        return;
    }
    if (!m_source.Connect(path)) {
        Messages().ShowMessage(QStringLiteral("Ошибка подключения импортируемой базы данных!"));
        return;
    }
    if (!Messages().AskYesNo(
            QStringLiteral("Рекомендуется сделать копии данных"),
            QStringLiteral("Если что то пойдёт не так, Вы можете потерять свои данные. Сделали "
                           "бэкап? Хотите продолжить?"))) {
        return;
    }

    m_worker = std::make_unique<ImportDatabase>(m_store, m_source);
    m_worker->replaceDuplicates = m_replace->isChecked();
    m_worker->onLines = [this](const QStringList& lines) {
        if (!m_destroying) {
            m_memo1->AppendLines(lines);
        }
    };
    m_worker->onMessageBox = [this](const QString& text) {
        if (!m_destroying) {
            Messages().ShowMessage(text);
        }
    };
    m_worker->onSummary = [this](const QStringList& summary) {
        if (m_destroying) {
            return;
        }
        m_memo1->AppendLines(summary);
        FinishExecute();
    };
    m_worker->start();
    m_memo1->Clear();
    m_start->hide();
    m_exit->hide();
    m_stop->show();
    m_progress->show();
    m_progress->setValue(0);
}

void TForm8::BitBtn4Click() {
    if (m_worker) {
        m_worker->requestInterruption();
    }
}

void TForm8::BitBtn2Click() {
    close();
}

void TForm8::Timer1Timer() {
    if (m_worker) {
        m_progress->setValue(m_worker->progress.load());
    }
}

void TForm8::FinishExecute() {
    m_timer2->start();
}

void TForm8::Timer2Timer() {
    m_timer2->stop();
    m_source.Disconnect();
    m_worker.reset();
    ShowIdleButtons();
}

bool TForm8::FormCloseQuery() {
    if (m_worker) {
        Messages().ShowMessage(QStringLiteral("Дождитесь окончания импорта или остановите его!"));
        return false;
    }
    return true;
}

void TForm8::done(int result) {
    if (!FormCloseQuery()) {
        return;
    }
    m_video->CloseClip();
    QDialog::done(result);
}

}  // namespace tembrix
