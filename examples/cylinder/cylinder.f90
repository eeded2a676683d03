! Flow of a gas round a turning cylinder, on an O-grid that is finer near the wall: positions, a time record, then
! pressure, density and velocity, each scaled with its value far upstream. Usage: cylinder FILE
!
! The velocity is that of a potential flow with circulation, exact in the limit of small Mach numbers; pressure and
! density follow from it along an isentrope (Anderson, "Fundamentals of Aerodynamics": lifting flow over a cylinder).
program cylinder
  implicit none
  integer, parameter :: around = 145, outward = 49
  real(8), parameter :: pi = acos(-1d0)
  real(8), parameter :: reach = 6d0       ! radius of the outer edge, in radii of the cylinder
  real(8), parameter :: gamma = 1.4d0     ! ratio of specific heats
  real(8), parameter :: mach = 0.1d0      ! far upstream
  real(8), parameter :: spin = 0.8d0      ! circulation / (4 pi radius speed); above 1 the stagnation point leaves the wall
  real(4), dimension(around, outward) :: x, y, density, pressure, u, v
  complex(8) :: z, w
  real(8) :: warmth
  integer :: i, j, file
  character(len=1024) :: name

  do j = 1, outward
    do i = 1, around
      z = reach ** (real(j - 1, 8) / (outward - 1)) * exp(cmplx(0d0, 2 * pi * (i - 1) / (around - 1), 8))
      w = 1 - 1 / z ** 2 + cmplx(0d0, 2 * spin, 8) / z
      warmth = 1 + 0.5d0 * (gamma - 1) * mach ** 2 * (1 - abs(w) ** 2)  ! temperature
      x(i, j) = real(z, 4)
      y(i, j) = real(aimag(z), 4)
      u(i, j) = real(w, 4)
      v(i, j) = real(-aimag(w), 4)
      density(i, j) = real(warmth ** (1 / (gamma - 1)), 4)
      pressure(i, j) = real(warmth ** (gamma / (gamma - 1)), 4)
    end do
  end do

  call get_command_argument(1, name)
  open (newunit=file, file=trim(name), form='unformatted', access='sequential', status='replace', convert='big_endian')
  write (file) around, outward
  write (file) x, y
  write (file) 0.0
  write (file) pressure
  write (file) density
  write (file) u
  write (file) v
  close (file)
end program
