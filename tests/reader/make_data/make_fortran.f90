! Writes the data files that the Fortran run-time system frames or formats itself: record markers, either byte order,
! list-directed and edited text. Values and positions are those of ../data/README.md.
program make_fortran
  use, intrinsic :: iso_fortran_env, only: int32, real32, real64
  implicit none

  call unformatted_scalars()
  call unformatted_irregular()
  call unformatted_big_endian()
  call unformatted_steps()
  call text_columns()
  call text_list_directed()

contains

  pure real(real64) function value(i, j, k, c)   ! all counted from 0
    integer, intent(in) :: i, j, k, c
    value = i + 10 * j + 100 * k + 1000 * c
  end function

  pure function position(i, j, k) result(p)
    integer, intent(in) :: i, j, k
    real(real32) :: p(3)
    p = [i + 0.25 * j, 0.5 * j, k - 0.125 * i]
  end function

  pure function block(ni, nj, nk, c) result(v)
    integer, intent(in) :: ni, nj, nk, c
    real(real64) :: v(ni, nj, nk)
    integer :: i, j, k
    do concurrent(i = 1:ni, j = 1:nj, k = 1:nk)
      v(i, j, k) = value(i - 1, j - 1, k - 1, c)
    end do
  end function

  subroutine unformatted_scalars()
    integer :: u
    open(newunit=u, file='fortran_scalars.dat', form='unformatted', access='sequential', status='replace')
    write(u) 'title of twenty byte'
    write(u) real(block(4, 3, 2, 0), real32)
    write(u) real(block(4, 3, 2, 1), real32)
    close(u)
  end subroutine

  subroutine unformatted_irregular()
    integer :: u, i, j, k, c
    open(newunit=u, file='fortran_irregular.dat', form='unformatted', access='sequential', status='replace')
    write(u) 3_int32, 2_int32, 2_int32
    do c = 1, 3
      write(u) (((component(position(i, j, k), c), i = 0, 2), j = 0, 1), k = 0, 1)
    end do
    write(u) ((((real(value(i, j, k, c), real32), c = 0, 1), i = 0, 2), j = 0, 1), k = 0, 1)
    close(u)
  end subroutine

  pure real(real32) function component(p, c)
    real(real32), intent(in) :: p(3)
    integer, intent(in) :: c
    component = p(c)
  end function

  subroutine unformatted_big_endian()
    integer :: u
    open(newunit=u, file='fortran_big.dat', form='unformatted', convert='big_endian', status='replace')
    write(u) block(5, 2, 1, 0)
    write(u) block(5, 2, 1, 1)
    close(u)
  end subroutine

  subroutine unformatted_steps()
    integer :: u, step
    open(newunit=u, file='fortran_steps.dat', form='unformatted', access='sequential', status='replace')
    do step = 0, 2
      write(u) 0.5 * step
      write(u) nint(block(3, 2, 1, step), int32)
    end do
    close(u)
  end subroutine

  subroutine text_columns()
    integer :: u, i, j, k
    open(newunit=u, file='fortran_columns.dat', form='formatted', status='replace')
    write(u, '(a)') 'columns of a table', 'x, y, z and a value'
    do k = 0, 1
      do j = 0, 1
        do i = 0, 2
          write(u, '(3f9.4, es16.7)') position(i, j, k), value(i, j, k, 0)
        end do
      end do
    end do
    close(u)
  end subroutine

  subroutine text_list_directed()   ! breaks its lines where it likes
    integer :: u
    open(newunit=u, file='fortran_list.dat', form='formatted', status='replace')
    write(u, *) real(block(4, 3, 2, 0), real32)
    close(u)
  end subroutine
end program
