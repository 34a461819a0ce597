#include "ui/TaskSheet.h"

#include "ui/TaskFormView.h"

#include <QDialog>
#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

void TaskSheet::build(QDialog *sheet, TaskFormView *form, QPushButton *confirm, const QList<QPushButton *> &leading)
{
    sheet->resize(560, 720);

    auto *scroll = new QScrollArea;
    scroll->setWidget(form);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);

    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("form-cancel"));
    cancel->setAutoDefault(false);
    confirm->setDefault(true);

    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(16, 10, 16, 12);
    bar->setSpacing(8);
    for (QPushButton *button : leading) {
        button->setAutoDefault(false);
        bar->addWidget(button);
    }
    bar->addStretch();
    bar->addWidget(cancel);
    bar->addWidget(confirm);

    auto *layout = new QVBoxLayout(sheet);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(scroll, 1);
    layout->addWidget(line);
    layout->addLayout(bar);

    QObject::connect(cancel, &QPushButton::clicked, sheet, &QDialog::reject);
}
