#pragma once

#include <QMetaType>
#include <QVector>

// A spectrum as a vector of elements, copied freely and passed by value through
// signals, also across the analyser's thread.
class FrequencySpectrum
{
public:
    struct Element
    {
        double frequency = 0.0; // Hz
        double amplitude = 0.0; // fraction of full scale, 0.0 to 1.0
        double phase = 0.0;
        bool clipped = false;
    };

    using iterator = QVector<Element>::iterator;
    using const_iterator = QVector<Element>::const_iterator;

    // numPoints zero elements, none clipped; below 1 gives an empty spectrum.
    explicit FrequencySpectrum(int numPoints = 0);

    // Every element back to zero and not clipped; the count stays.
    void reset();
    int count() const { return elements.count(); }

    iterator begin() { return elements.begin(); }
    iterator end() { return elements.end(); }
    const_iterator begin() const { return elements.constBegin(); }
    const_iterator end() const { return elements.constEnd(); }

    Element &operator[](int index) { return elements[index]; }
    const Element &operator[](int index) const { return elements[index]; }

private:
    QVector<Element> elements;
};

Q_DECLARE_METATYPE(FrequencySpectrum)
