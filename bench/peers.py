"""The same work done by packages of the distribution, for `compare`.

A peer is a function that prepares its data and returns another one, whose time is what is measured, with the number of
items it works on. One that needs a package which is not installed says so by ImportError. All work on one core.
"""
import os
import tempfile
from pathlib import Path

import numpy


# --- Volumes ---


def volume(dense):
    """256^3 bytes: a thin shell in nothing, or all of some opacity; what bench_tracer casts rays through."""
    z, y, x = numpy.mgrid[0:256, 0:256, 0:256]
    random = numpy.random.default_rng(1)
    if dense:
        return random.integers(20, 52, (256, 256, 256), dtype="u1")
    radius = numpy.sqrt((x - 128.0) ** 2 + (y - 128.0) ** 2 + (z - 128.0) ** 2)
    return numpy.where((radius > 80) & (radius < 83), 200, random.integers(0, 50, radius.shape)).astype("u1")


def ray_caster(dense, interpolate):
    """VTK's ray caster, 512 x 512 pixels, a sample per voxel, the camera of bench_tracer. Needs a display."""
    if "DISPLAY" not in os.environ:
        raise ImportError("a display (xvfb-run)")
    import vtk
    from vtk.util.numpy_support import numpy_to_vtk

    image = vtk.vtkImageData()
    image.SetDimensions(256, 256, 256)
    values = volume(dense).ravel()
    image.GetPointData().SetScalars(numpy_to_vtk(values, deep=True, array_type=vtk.VTK_UNSIGNED_CHAR))
    mapper = vtk.vtkFixedPointVolumeRayCastMapper()
    mapper.SetInputData(image)
    mapper.SetNumberOfThreads(1)
    mapper.AutoAdjustSampleDistancesOff()
    mapper.SetSampleDistance(1)
    mapper.SetImageSampleDistance(1)
    look = vtk.vtkVolumeProperty()
    look.SetInterpolationType(vtk.VTK_LINEAR_INTERPOLATION if interpolate else vtk.VTK_NEAREST_INTERPOLATION)
    colors, opacity = vtk.vtkColorTransferFunction(), vtk.vtkPiecewiseFunction()
    for level in (0, 255):
        colors.AddRGBPoint(level, level / 255, 1 - level / 255, 0.5)
    for level, value in ((0, 0), (255, 255 * 4e-5)) if dense else ((0, 0), (127, 0), (128, 0.2), (255, 0.2)):
        opacity.AddPoint(level, value)
    look.SetColor(colors)
    look.SetScalarOpacity(opacity)
    actor = vtk.vtkVolume()
    actor.SetMapper(mapper)
    actor.SetProperty(look)
    renderer, window = vtk.vtkRenderer(), vtk.vtkRenderWindow()
    renderer.AddVolume(actor)
    window.SetOffScreenRendering(1)
    window.SetSize(512, 512)
    window.AddRenderer(renderer)
    camera = renderer.GetActiveCamera()
    camera.SetFocalPoint(127.5, 127.5, 127.5)
    camera.SetPosition(*(127.5 - 512 * axis for axis in (-0.466, 0.565, -0.681)))
    camera.SetViewUp(0.319, 0.825, 0.466)
    camera.SetViewAngle(28.07)
    renderer.ResetCameraClippingRange()

    def run():
        image.Modified()  # as for a first picture
        window.Render()

    run.window = window
    return run, 512 * 512


# --- Plane vectors ---


def line_integral_convolution(half_length):
    """yt's, along a flow with vortices and saddles, 1024 x 1024 pixels."""
    from yt.utilities.lib.line_integral_convolution import line_integral_convolution_2d

    y, x = numpy.mgrid[0:1024, 0:1024] * (2 * numpy.pi / 1024)
    flow = numpy.stack([numpy.sin(3 * y) + 0.3 * numpy.cos(2 * x + y), numpy.cos(2 * x) - 0.5 * numpy.sin(x + y)], -1)
    noise = numpy.random.default_rng(1).random((1024, 1024))
    kernel = numpy.ones(2 * half_length + 1)
    return lambda: line_integral_convolution_2d(flow, noise, kernel), 1024 * 1024


def topology():
    """VTK's critical points and separatrices of 512 x 512 nodes, the field of bench_topology."""
    import vtk
    from vtk.util.numpy_support import numpy_to_vtk

    j, i = numpy.mgrid[0:512, 0:512]
    x, y = (7 * numpy.pi / 512) * (i + 0.1 * j), (7 * numpy.pi / 512) * (j - 0.1 * i)
    u = numpy.sin(x) * numpy.cos(y) + 0.05 * numpy.sin(y)
    v = -numpy.cos(x) * numpy.sin(y) + 0.05 * numpy.sin(x)
    image = vtk.vtkImageData()
    image.SetDimensions(512, 512, 1)
    image.GetPointData().SetVectors(numpy_to_vtk(numpy.stack([u, v, 0 * u], -1).reshape(-1, 3), deep=True))
    image.GetPointData().GetVectors().SetName("flow")

    def run():
        skeleton = vtk.vtkVectorFieldTopology()
        skeleton.SetInputData(image)
        skeleton.SetIntegrationStepUnit(2)  # cell lengths
        skeleton.SetIntegrationStepSize(0.5)
        skeleton.SetMaxNumSteps(1000)
        skeleton.SetSeparatrixDistance(0.1)
        skeleton.Update()
        return skeleton

    return run, 1


# --- Values at nodes ---


def index_space():
    """NumPy: central differences of positions, vectors times the inverse of these, 128^3 nodes."""
    random = numpy.random.default_rng(1)
    positions = numpy.stack(numpy.mgrid[0:128, 0:128, 0:128][::-1]).astype("f4")
    positions += random.uniform(-0.3, 0.3, positions.shape).astype("f4")
    vectors = random.uniform(-0.3, 0.3, positions.shape).astype("f4")

    def run():
        a, b, c = (numpy.stack([numpy.gradient(p, axis=axis) for p in positions]) for axis in (2, 1, 0))
        bc, ca, ab = (numpy.cross(p, q, axis=0) for p, q in ((b, c), (c, a), (a, b)))
        determinant = (a * bc).sum(0)
        return numpy.stack([(vectors * p).sum(0) / determinant for p in (bc, ca, ab)])

    return run, 128**3


def luminance():
    """NumPy: 0.299 red + 0.587 green + 0.114 blue as a fifth byte of a million nodes."""
    colors = numpy.random.default_rng(1).integers(0, 256, (1 << 20, 4), dtype="u1")
    share = numpy.array([0.299, 0.587, 0.114], "f4")
    return lambda: numpy.column_stack([colors, (colors[:, 1:] @ share).astype("u1")]), 1 << 20


def cone():
    """NumPy: a circle of a million nodes."""

    def run():
        angle = numpy.arange(1_000_000, dtype="f4") * numpy.float32(2 * numpy.pi / 1_000_000)
        return numpy.stack([2 * numpy.cos(angle), 2 * numpy.sin(angle), 0 * angle], -1)

    return run, 1_000_000


# --- Captures ---


def merge():
    """NumPy: the nearest of eight images of 2048 x 2048 pixels with depths."""
    random = numpy.random.default_rng(1)
    images = [(random.integers(0, 1 << 32, (2048, 2048), dtype="u4"), random.random((2048, 2048), "f4"))
              for _ in range(8)]

    def run():
        colors, depths = images[0][0].copy(), images[0][1].copy()
        for color, depth in images[1:]:
            nearer = depth > depths
            colors[nearer] = color[nearer]
            depths[nearer] = depth[nearer]
        return colors

    return run, 8 * 2048 * 2048


# --- Texts ---


def _text_file(text):
    file = tempfile.NamedTemporaryFile(suffix=".txt")
    file.write(text.encode())
    file.flush()
    return file


def ascii_values():
    """NumPy's reader of text, numbers of six digits."""
    values = numpy.random.default_rng(1).random(2_000_000)
    file = _text_file("\n".join(f"{value:.6g}" for value in values))
    return lambda: numpy.fromfile(file.name, "f4", sep=" "), os.path.getsize(file.name)


def voxel_text(form):
    """pandas' reader of tables, a million lines of three positions and a value."""
    import pandas

    formats = ("{:g} {:g} {:g} {:.6g}\n", "{:.9f}, {:.9f}, {:.9f}, {:.9e}\n", "{:+g} {:+g} {:+g} {:+.6g}\n")
    separator = "," if form == 1 else " "
    lines = (formats[form].format(0.5 * (i % 100) - 20, 0.25 * (i // 100 % 100), 0.125 * (i // 10_000) + 100,
                                  (i % 100003) * 0.37 - 1000) for i in range(1_000_000))
    file = _text_file("".join(lines))
    size = os.path.getsize(file.name)
    return lambda: pandas.read_csv(file.name, sep=separator, header=None, dtype="f4", skipinitialspace=True), size
