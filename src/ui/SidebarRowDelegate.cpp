#include "ui/SidebarRowDelegate.h"

#include "ui/SidebarView.h"
#include "ui/ViewStyle.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

SidebarRowDelegate::SidebarRowDelegate(const SidebarView *sidebar, QObject *parent)
    : QStyledItemDelegate(parent), m_sidebar(sidebar)
{
}

void SidebarRowDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);
    const bool selected = option.state & QStyle::State_Selected;
    SidebarRows::Colors colors{option.palette.color(QPalette::Text), ViewStyle::secondaryText()};
    if (selected) {
        colors.text = option.palette.color(QPalette::HighlightedText);
        colors.secondary = colors.text;
        colors.secondary.setAlphaF(0.8f);
    }
    if (const SidebarRows::TaskLook *look = m_sidebar->taskLookAt(index.row())) {
        SidebarRows::paintTask(*painter, *look, option.rect, colors);
    } else if (const SidebarRows::JobLook *job = m_sidebar->jobLookAt(index.row())) {
        SidebarRows::paintJob(*painter, *job, option.rect, colors);
    }
}

bool SidebarRowDelegate::helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                                   const QModelIndex &index)
{
    if (!event || event->type() != QEvent::ToolTip || !index.isValid()) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    QString tip;
    if (const SidebarRows::TaskLook *look = m_sidebar->taskLookAt(index.row())) {
        const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(*look, option.rect);
        tip = geometry.failed.contains(event->pos())   ? look->failedTip
              : geometry.missed.contains(event->pos()) ? look->missedTip
                                                       : look->toolTip;
    } else if (const SidebarRows::JobLook *job = m_sidebar->jobLookAt(index.row())) {
        tip = job->toolTip;
    } else {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    QToolTip::showText(event->globalPos(), tip, view->viewport(), option.rect);
    return true;
}
