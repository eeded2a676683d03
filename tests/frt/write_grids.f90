! Writes small grids in every way that the reader tells apart by itself. How the records look is up to the compiler:
! -fconvert=big-endian, -frecord-marker=8, -fdefault-integer-8. Usage: write_grids PREFIX
program write_grids
  implicit none
  character(len=1024) :: prefix
  integer, parameter :: ni = 5, nj = 4, nk = 3

  call get_command_argument(1, prefix)
  call write_grid('plane', 2, .true., 1, .false., 2)
  call write_grid('plane_notime', 2, .false., 0, .true., 1)
  call write_grid('solid', 3, .false., 4, .false., 3)
  call write_grid('solid_apart', 3, .true., 8, .true., 2)

contains

  ! apart: a record for each coordinate. times: numbers in the time record, the time first; 0: no such record.
  ! wide: node data in double precision
  subroutine write_grid(name, ndim, apart, times, wide, ncomp)
    character(len=*), intent(in) :: name
    integer, intent(in) :: ndim, times, ncomp
    logical, intent(in) :: apart, wide
    integer :: dims(3), i, j, k, n, c, u
    real(4), allocatable :: x(:,:)
    real(8), allocatable :: v(:,:)

    dims = [ni, nj, nk]
    if (ndim == 2) dims(3) = 1
    allocate (x(product(dims), 3), v(product(dims), ncomp))
    n = 0
    do k = 1, dims(3)
      do j = 1, dims(2)
        do i = 1, dims(1)
          n = n + 1
          x(n, :) = real([i + 0.25d0 * j, j - 0.5d0 * k, 2d0 * k + 0.125d0 * i], 4)
          v(n, :) = [((100 * c + i + 10 * j + 0.5d0 * k) / 3d0, c = 1, ncomp)]
        end do
      end do
    end do

    open (newunit=u, file=trim(prefix)//name//'.dat', form='unformatted', access='sequential', status='replace')
    write (u) dims(1:ndim)
    if (apart) then
      do i = 1, ndim
        write (u) x(:, i)
      end do
    else
      write (u) x(:, 1:ndim)
    end if
    if (times > 0) write (u) 0.75, [(real(i, 4), i = 2, times)]
    do c = 1, ncomp
      if (wide) then
        write (u) v(:, c)
      else
        write (u) real(v(:, c), 4)
      end if
    end do
    close (u)
  end subroutine
end program
