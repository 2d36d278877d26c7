// Pillow, through the interpreter in this process; what is timed is one call of its C code.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <memory>

#include "Peers.h"

namespace bench {

namespace {

using Reference = std::shared_ptr<PyObject>;

Reference own(PyObject* object) {
  if (object == nullptr) PyErr_Print();
  return Reference(object, [](PyObject* o) { Py_XDECREF(o); });
}

bool start() {
  if (!Py_IsInitialized()) Py_InitializeEx(0);
  return own(PyImport_ImportModule("PIL.Image")) != nullptr;
}

// A picture of Pillow's own with the job's colours: four bytes per pixel there too.
Reference pictureOf(const Job& job) {
  const Reference module = own(PyImport_ImportModule("PIL.Image"));
  return own(PyObject_CallMethod(module.get(), "frombytes", "s(ii)y#ss", "RGB", job.first.width,
                                 job.first.height, job.first.bytes(),
                                 static_cast<Py_ssize_t>(job.first.byteCount()), "raw", "BGRX"));
}

PeerCall histogram(const Job& job) {
  return {[picture = pictureOf(job)] {
    own(PyObject_CallMethod(picture.get(), "histogram", nullptr));
  }};
}

PeerCall point(const Job& job) {
  const Reference table = own(PyList_New(0));
  for (int c = 2; c >= 0; --c) {
    for (const uint8_t value : job.tables[c]) {
      PyList_Append(table.get(), own(PyLong_FromLong(value)).get());
    }
  }
  return {[=, picture = pictureOf(job)] {
    own(PyObject_CallMethod(picture.get(), "point", "O", table.get()));
  }};
}

constexpr Peer kPeers[] = {{"Pillow histogram", histogram}, {"Pillow point", point}};

}  // namespace

std::span<const Peer> pillowPeers() {
  static const bool started = start();
  return started ? std::span<const Peer>(kPeers) : std::span<const Peer>();
}

}  // namespace bench
